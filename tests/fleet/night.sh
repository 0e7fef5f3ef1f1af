#!/usr/bin/env bash
# What a night of replays may bring: night.sh BIN LIBRARIES, with the folders of the programs and of the libraries a
# and b. Kills a run at random moments and goes on, fills the disk, and refuses the namespaces.
set -u
bin=$1 libraries=$2
work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
mkdir -p target/etc/ostrel tmp flights
export OSTREL_ROOT_DIR=$work/target TMPDIR=$work/tmp

fail() {
  printf '%s\n' "$*"
  exit 1
}
regress() { "$bin/ostrelLog" regress flights --timeout 30 --a "$libraries/a" --b "$libraries/b" "$@"; }
# rows FILE: its rows in one order, without what differs from run to run.
rows() { sed 's/"seconds":[0-9.e-]*/"seconds":0/g' "$1" | sort; }

for i in $(seq 40); do
  variant=quad
  [ "$i" -ne 7 ] || variant=crash
  "$bin/ostrelLog" make "flights/f$i" --seconds 1 --seed "$i" --variant $variant >/dev/null || fail "no flight"
done

echo "An undisturbed run"
regress --rows undisturbed >out 2>err || [ $? -eq 1 ] || fail "$(cat err)"
[ "$(wc -l <undisturbed)" -eq 40 ] || fail "not one row for each flight: $(cat err)"
grep -q '39 changed, 0 same, 1 failed of 40' out || fail "$(tail -n 1 out)"

echo "Killed at random moments"
for _ in $(seq 10); do
  regress --rows killed >/dev/null 2>&1 &
  sleep "$((1 + RANDOM % 4)).$((RANDOM % 10))"
  kill -9 $! 2>/dev/null
  wait $! 2>/dev/null
done
regress --rows killed >/dev/null 2>err || [ $? -eq 1 ] || fail "$(cat err)"
diff <(rows undisturbed) <(rows killed) || fail "other rows after the kills"
[ -z "$(ls tmp)" ] || fail "left behind: $(ls tmp)"

echo "Interrupted"
env --default-signal=INT,TERM "$bin/ostrelLog" regress flights --rows interrupted --a "$libraries/a" >out 2>&1 &
sleep 3.5
kill -TERM $!
wait $!
[ $? -eq 143 ] || fail "not ended by the signal: $(cat out)"
[ -z "$(tail -c 1 interrupted)" ] || fail "half a row"
[ -z "$(ls tmp)" ] || fail "left behind: $(ls tmp)"

echo "Ended from outside, as a scheduler does it with all processes of a job in any order"
mkdir outside
"$bin/ostrelLog" make outside/hang --seconds 1 --variant hang >/dev/null || fail "no flight"
children() { cat "/proc/$1/task/$1/children" 2>/dev/null; }
# await_replays COUNT: until the worker of the run has so many of them. Sets worker and replays.
await_replays() {
  local attempt
  for ((attempt = 0; attempt < 600; ++attempt)); do
    worker=$(children "$run" | cut -d ' ' -f 1)
    read -ra replays < <(children "$worker")
    [ ${#replays[@]} -eq "$1" ] && return
    sleep 0.05
  done
  fail "not $1 replays: $(cat out)"
}
# end_one PROCESS ROWS: starts a run, and ends the replay that B's library makes hang, or the worker.
end_one() {
  env --default-signal=INT,TERM "$bin/ostrelLog" regress outside --rows "$2" --isolate off --timeout 30 \
    --a "$libraries/a" --b "$libraries/b" >out 2>&1 &
  run=$!
  await_replays 2
  await_replays 1
  if [ "$1" = worker ]; then kill -TERM "$worker"; else kill -KILL "${replays[0]}"; fi
}
for process in replay worker; do
  end_one $process job.$process
  while [ -e "/proc/$worker" ]; do sleep 0.05; done
  kill -TERM $run
  wait $run
  [ $? -eq 143 ] || fail "not ended by the signal: $(cat out)"
  [ ! -s job.$process ] || fail "a row of a flight that was disturbed: $(cat job.$process)"
  end_one $process $process
  wait $run
done
grep -q '"verdict":"failed-b","reason":"signal 9 (Killed)"' replay || fail "no row of the replay: $(cat out replay)"
grep -q '"reason":"the comparison ended by signal 15 (Terminated)"' worker || fail "no row of the worker: $(cat out)"

echo "A full disk"
if unshare -Urm true 2>/dev/null; then
  unshare -Urm sh -c 'mount -t tmpfs -o size=200k none tmp && exec "$@"' sh "$bin/ostrelLog" regress flights/f1 \
    flights/f2 --isolate off --rows full --a "$libraries/a" >out 2>&1
  [ $? -eq 2 ] || fail "a full disk is not told: $(cat out)"
  [ ! -s full ] || fail "a row in spite of the full disk: $(cat full)"

  echo "No namespaces"
  unshare -Ur sh -c 'echo 0 >/proc/sys/user/max_mnt_namespaces && exec "$@"' sh "$bin/ostrelLog" regress flights/f1 \
    flights/f2 --rows alone --a "$libraries/a" --b "$libraries/b" >out 2>&1
  [ $? -eq 1 ] || fail "$(cat out)"
  grep -q "run one at a time" out || fail "refused namespaces are not told: $(cat out)"
  grep -q '2 changed' out || fail "$(cat out)"
else
  echo "namespaces are refused here: a full disk was not tried"
fi
echo "all as it should be"
