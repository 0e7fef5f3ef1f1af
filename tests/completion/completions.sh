#!/usr/bin/env bash
# Tries the completions in a real shell: completions.sh SHELL BIN SCRIPTS, with the folders of the programs and of the
# scripts of the shells.
set -euo pipefail
shell=$1 scripts=$3
export PATH=$2:$PATH LC_ALL=C LOG_LEVEL=2
command -v "$shell" >/dev/null || { echo "not run: $shell is not installed"; exit 77; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work
cd "$work"
mkdir folder
ostrelLog make flight --seconds 1 >/dev/null

# offered_SHELL LINE: what a tab behind the line offers, a word a line.
offered_bash() {
  bash -c 'source /usr/share/bash-completion/bash_completion; source "$1"; COMP_LINE=$2 COMP_POINT=${#2}
    read -ra COMP_WORDS <<<"$2"; [[ $2 != *" " ]] || COMP_WORDS+=("")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _ostrelLog "${COMP_WORDS[0]}"; printf "%s\n" "${COMPREPLY[@]}"' \
    bash "$scripts/bash" "$1" 2>/dev/null
}
offered_fish() { fish -c 'source $argv[1]; complete -C $argv[2]' "$scripts/fish" "$1" | cut -f 1; }
# A shell at a terminal, whose function compadd prints what is to be offered.
offered_zsh() {
  cp "$scripts/zsh" _ostrelLog
  cat >.zshrc <<'END'
PROMPT=READY fpath=(~ $fpath)
autoload -Uz compinit && compinit -u
compadd() {
  # With these options it offers nothing, and fills arrays of the caller.
  if [[ " ${@[1,(i)(-|--)]} " != *" -"(O|A|D)* ]]; then
    local -a hits
    builtin compadd -A hits "$@"
    print -rl -- "<"$^hits">"
  fi
  builtin compadd "$@"
}
comppostfuncs=(exit)
END
  zsh -f -c 'zmodload zsh/zpty; zpty shell zsh -i; zpty -r shell line "*READY*"; zpty -w -n shell "$1"$'"'\t'"'; while zpty -r shell line; do print -r -- $line; done' zsh "$1" |
    tr -d '\r' | sed -n 's/.*<\(.*\)>$/\1/p'
}

# offers LINE WORD...
offers() {
  local line=$1 expected
  expected=$(printf '%s\n' "${@:2}" | sort -u)
  diff --label expected --label offered <(cat <<<"$expected") <("offered_$shell" "$line" | sed 's/[/ ]*$//' | sort -u) ||
    { echo "^ offered behind '$line'"; exit 1; }
  echo "$line<tab> -> ${*:2}"
}
offers "ostrelLog re" recover regress report
offers "ostrelLog make --se" --seconds --seed
offers "ostrelLog export --format " csv mcap
offers "ostrelLog regress --isolate " auto off require
offers "ostrelLog regress --a fo" folder
offers "ostrelLog info fl" flight.cont flight.events
offers "ostrelLog diff flight.cont --only inputs.sensors.baro.p" inputs.sensors.baro.pressure
offers "ostrelLog diff flight.events --only set_home." set_home.{amsl_altitude,latitude,longitude}
offers "ostrelReplay -i flight.c" flight.cont
