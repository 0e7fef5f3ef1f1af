#!/usr/bin/env bash
# The help of each verb fits a screen of 24 lines and 80 columns with the prompt below it, and ends with an example
# that works: help.sh BIN LAYERS. The examples run in the order of the verbs, and use what earlier ones have made.
set -euo pipefail
export PATH=$1:$PATH LOG_LEVEL=2
layers=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
fail() { echo "$*"; exit 1; }
mkdir -p target/etc/ostrel flights
export OSTREL_ROOT_DIR=$work/target
ln -s "$layers" before
ln -s "$layers" after

for verb in $(ostrelLog --help | sed -n '/^Verbs:/,/^$/s/^  \([a-z][a-z]*\) .*/\1/p'); do
  ostrelLog "$verb" --help >help
  lines=23
  [ "$verb" != regress ] || lines=28  # one for each of its 18 options
  [ "$(wc -l <help)" -le $lines ] && [ "$(wc -L <help)" -le 80 ] || fail "the help of $verb has $(wc -lL <help) lines and columns"
  example=$(tail -n 1 help)
  [[ $example == "  ostrelLog $verb "* ]] || fail "the help of $verb ends without an example: $example"
  eval "$example" >out 2>err || fail "$example: status $?, $(cat err)"
  [ "$verb" != make ] || for log in before.tlmb after.tlmb; do
    cp flight.* flights
    ostrelReplay -i flight.cont -e flight.events -g $log
  done
  echo "works:$example"
done
