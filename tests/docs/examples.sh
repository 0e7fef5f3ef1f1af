#!/usr/bin/env bash
# Runs the examples of documents: examples.sh DOCUMENT..., with the programs on PATH. A DOCUMENT that ends in .gz is
# a page of the manual, whose examples are taken as a reader sees them.
#
# An example is a line that begins with "$ ", blanks before it allowed, and the lines indented like it that
# follow. The command must print exactly these lines, standard output and standard error together. All
# examples of all documents run in the order given, in one shell and in one folder, empty at first.
set -u
export LC_ALL=C
unset LOG_LEVEL KVS_FILE SYS_PROP_FILE TLMB_SECTION_NAME OSTREL_ROOT_DIR OSTREL_CALIBRATION_DIR

documents=()
for document; do documents+=("$(realpath "$document")") || exit 1; done
work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT
mkdir "$work/examples"
cd "$work/examples" || exit 1

count=0    # examples run
status=0   # exit status of the last one
command='' # of the example whose output is being read; empty outside an example

run_example() {
  [ -n "$command" ] || return
  (exit "$status") # an example may ask for the status of the one before it: echo $?
  eval "$command" >"$work/got" 2>&1 </dev/null
  status=$?
  if ! diff -u --label expected --label got "$work/expected" "$work/got"; then
    printf '%s:%d: the example above does not print what the document says: $ %s\n' \
      "$document" "$command_line" "$command"
    exit 1
  fi
  count=$((count + 1))
  command=''
}

for document in "${documents[@]}"; do
  line_number=0 before=$count
  while IFS= read -r line <&3 || [ -n "$line" ]; do
    line_number=$((line_number + 1))
    if [[ $line =~ ^([[:blank:]]*)\$\ (.*) ]]; then
      indent=${BASH_REMATCH[1]} next_command=${BASH_REMATCH[2]}
      run_example
      command=$next_command command_line=$line_number
      : >"$work/expected"
    elif [[ -n $command && -n $line && $line != '```' && $line == "$indent"* ]]; then
      printf '%s\n' "${line#"$indent"}" >>"$work/expected"
    else
      run_example # the block has ended
    fi
  done 3< <(if [[ $document == *.gz ]]; then zcat "$document" | nroff -man -Tutf8; else cat "$document"; fi)
  run_example
  if [ "$count" -eq "$before" ]; then
    echo "$document has no examples"
    exit 1
  fi
  echo "$((count - before)) examples of $document print what it says"
done
