#!/usr/bin/env bash
# Compares the manual with the programs, both ways: manual.sh BIN PAGES. Each verb has a page, and a page has the
# options that the help text has.
set -euo pipefail
bin=$1 pages=$2
status=0
# same WHAT PROGRAM PAGE: complains where two lists, in any order, differ.
same() {
  diff --label program --label page <(sort -u <<<"$2") <(sort -u <<<"$3") || { echo "^ $1"; status=1; }
}
# documented PAGE: the options that its section OPTIONS explains.
documented() {
  sed -n '/^# OPTIONS/,/^# [^O]/p' "$pages/$1.1.scd" | grep '^\*-' | grep -oE '\*-[^*]+\*' | tr -d '*'
}
# offered COMMAND...: the options of a help text.
offered() { "$@" | sed -n '/Options:/,$p' | grep -oE '^ +-[^ ]+' | tr -d ' ' | tr , '\n'; }

verbs=$("$bin/ostrelLog" --help | sed -n '/^Verbs:/,/^$/s/^  \([a-z][a-z]*\) .*/\1/p')
same "the pages" "$verbs" "$(find "$pages" -name 'ostrelLog-*.scd' | sed 's/.*ostrelLog-//; s/\..*//')"
same "the verbs of ostrelLog(1)" "$verbs" "$(sed -n 's/^\*ostrelLog-\([a-z]*\)\*(1)$/\1/p' "$pages/ostrelLog.1.scd")"
for verb in $verbs; do
  same "the options of $verb" "$(offered "$bin/ostrelLog" "$verb" --help)" "$(documented "ostrelLog-$verb")"
done
same "the options of ostrelLog" "$(offered "$bin/ostrelLog" --help)" "$(documented ostrelLog)"
same "the options of ostrelReplay" "$(offered "$bin/ostrelReplay" -h)" "$(documented ostrelReplay)"
exit $status
