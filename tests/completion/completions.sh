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
evil='x$(touch${IFS}PWNED)'
sed "s/inputs.sensors.baro.pressure/$evil/" flight.cont >"my flight.cont"

# offered_SHELL LINE: what a tab behind the line offers, a word a line.
offered_bash() {
  cat >.bashrc <<END
source /usr/share/bash-completion/bash_completion
source "$scripts/bash"
offer() { _ostrelLog "\$@"; printf '%s\n' "\${COMPREPLY[@]}" >offered; exit; }
complete -F offer ostrelLog ostrelReplay
END
  # At a terminal, since it is the shell that divides the line into words.
  printf '%s\t' "$1" | script -qec "bash -i" /dev/null >/dev/null
  cat offered
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
offers "ostrelLog rec" recover
offers "ostrelLog make --se" --seconds --seed
offers "ostrelLog export --format " csv mcap
offers "ostrelLog regress --isolate " auto off require
offers "ostrelLog regress --a fo" folder
offers "ostrelLog info fl" flight.cont flight.events
offers "ostrelLog diff flight.cont --only inputs.sensors.baro.p" inputs.sensors.baro.pressure
offers "ostrelLog diff flight.events --only set_home." set_home.{amsl_altitude,latitude,longitude}
offers "ostrelReplay -i flight.c" flight.cont
offers "ostrelLog --v" --version
offers "ostrelLog export regress --r" --rate
# The words before --only: each file that is a log counts, however it is written.
offers "ostrelLog export ~/flight.cont --events flight.events -o folder/out --only set_home.l" set_home.{latitude,longitude}
offers "ostrelLog export ~/flight.cont --events flight.events -o folder/out --only inputs.sensors.baro.p" inputs.sensors.baro.pressure
for log in 'my\ flight.cont' '"my flight.cont"' "'my flight.cont'"; do
  offered=$evil  # fish quotes what it inserts by itself
  [ "$shell" = fish ] || printf -v offered %q "$evil"
  offers "ostrelLog diff $log --only x" "$offered"
done
[ ! -e PWNED ] || { echo "a name of a log was run as a command"; exit 1; }
