#!/usr/bin/env bash
# What a run over many flights costs: fleet.sh BUILD [ROUNDS], with the folder of the build and how often each of 64
# made flights of a minute at 200 Hz takes part, 32 when not given. Prints hours of flight per hour of the machine.
set -u
export LC_ALL=C
build=$(realpath "$1") rounds=${2:-32}
bin=$build/bin work=$build/fleet
fail() { printf '%s\n' "$*" >&2; exit 1; }

rm -rf "$work"
mkdir -p "$work/flights" "$work/target/etc/ostrel" "$work/a" "$work/a-again" "$work/tmp" || exit 1
trap 'rm -rf "$work"' EXIT
export OSTREL_ROOT_DIR=$work/target TMPDIR=$work/tmp
# A library that does the same as A is another file than A.
cp "$build"/bench/libraries/a/*.so.? "$work/a-again/" && printf ' ' | tee -a "$work"/a-again/* >/dev/null || exit 1

for i in $(seq 64); do
  "$bin/ostrelLog" make "$work/flights/f$i" --seconds 60 --rate 200 --seed "$i" >/dev/null || fail "no flight"
done
# list COUNT: the names of as many flights. Those of later rounds are further names of the same files.
list() {
  local i name
  for ((i = 0; i < $1; ++i)); do
    name=$work/flights/f$((i % 64 + 1))
    if ((i >= 64)); then
      ln -f "$name.cont" "$name-$((i / 64)).cont" && ln -f "$name.events" "$name-$((i / 64)).events" || exit 1
      name+=-$((i / 64))
    fi
    echo "$name"
  done
}

printf '%-44s %7s %9s %10s %12s  %s\n' "" flights seconds "hours/hour" "ms/flight" headline
# measure TEXT COUNT OPTION...: the whole run as a user sees it, and the processors' time for a flight.
measure() {
  local text=$1 count=$2
  shift 2
  list "$count" >"$work/list"
  /usr/bin/time -o "$work/time" -f '%e %U %S' "$bin/ostrelLog" regress --list "$work/list" --a "$build/bench/libraries/a" \
    "$@" >"$work/out" 2>"$work/lines"
  [ $? -le 1 ] || fail "$(cat "$work/lines")"
  tail -n 1 "$work/time" | awk -v text="$text" -v n="$count" -v headline="$(tail -n 1 "$work/out")" \
    '{printf "%-44s %7d %9.1f %10.0f %12.0f  %s\n", text, n, $1, n * 60 / $1, ($2 + $3) / n * 1000, headline}'
}
same=(--b "$work/a-again") changed=(--b "$build/bench/libraries/b")
measure "one job a core, sleep" 64 "${same[@]}" --pace sleep -j "$(nproc)"
measure "pool, sleep" 128 "${same[@]}" --pace sleep
measure "pool, yield" $((64 * rounds)) "${same[@]}"
measure "pool, yield, every flight changed" $((8 * rounds)) "${changed[@]}"

# alone TEXT COMMAND...: the processor's time of one replay or comparison, the mean of 10.
alone() {
  local text=$1
  shift
  /usr/bin/time -o "$work/time" -f '%U %S' bash -c 'for i in $(seq 10); do "$@" >/dev/null 2>&1; done' bash "$@"
  tail -n 1 "$work/time" | awk -v text="$text" '{printf "%-44s %37.0f ms of processor\n", text, ($1 + $2) / 10 * 1000}'
}
replay=("$bin/ostrelReplay" -i "$work/flights/f1.cont" -e "$work/flights/f1.events" -g)
alone "one replay with export, sleep" "${replay[@]}" "$work/a.tlmb"
export OSTREL_REPLAY_PACE=yield
alone "one replay with export, yield" "${replay[@]}" "$work/b.tlmb"
alone "one comparison of every variable" "$bin/ostrelLog" diff "$work/a.tlmb" "$work/b.tlmb"
alone "one comparison of the outputs" "$bin/ostrelLog" diff --only 'outputs.*' "$work/a.tlmb" "$work/b.tlmb"
