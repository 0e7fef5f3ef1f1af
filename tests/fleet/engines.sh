#!/usr/bin/env bash
# Runs 40 flights, one of which crashes the library and one makes it hang, in shards by the engines of docs/fleet.md,
# and disturbs them: engines.sh BIN LIBRARIES. The rows must be those of an undisturbed run. Ends with status 77 when
# everything passed that could run here, and something could not.
set -u
here=$(cd "$(dirname "$0")" && pwd)
bin=$1 libraries=$2
work=$(mktemp -d) || exit 1
chmod 755 "$work"  # munge looks at the folders above its socket
. "$here/slurm_here.sh"
. "$here/ssh_here.sh"
trap 'ssh_stop; slurm_stop; rm -rf "$work"' EXIT
ssh_dir=$work/ssh slurm_dir=$work/slurm
unset SLURM_CONF
cd "$work" || exit 1
mkdir -p target/etc/ostrel tmp flights
export OSTREL_ROOT_DIR=$work/target TMPDIR=$work/tmp

fail() {
  printf 'failed: %s\n' "$*"
  exit 1
}
rows() { cat "$@" | sed 's/"seconds":[0-9.e-]*/"seconds":0/g' | sort; }
# check NAME: the rows of all shards are those of the undisturbed run.
check() {
  diff <(rows undisturbed) <(rows "$1"/*.jsonl) >difference || fail "$1: other rows: $(cut -c 1-300 difference)"
  "$bin/ostrelLog" report "$1" --expect flights.txt | head -n 1
}
missing=0
can() {
  command -v "$1" >/dev/null && return 0
  echo "not run: $2 (no $1)"
  missing=1
  return 1
}
# An engine repeats what fails. That flights come out differently (status 1) is no failure of the shard.
cat >shard <<END
#!/bin/sh
# shard I N ROWS: one shard, whose rows go into a file of its own
"$bin/ostrelLog" regress --list "$work/flights.txt" --shard "\$1/\$2" --rows "\$3/\$1.jsonl" --timeout 25 -j 4 \\
  --a "$libraries/a" --b "$libraries/b" >"\$3/\$1.out" 2>&1
[ \$? -le 1 ]
END
chmod +x shard

for i in $(seq 40); do
  variant=quad
  [ "$i" -ne 7 ] || variant=crash
  [ "$i" -ne 21 ] || variant=hang
  "$bin/ostrelLog" make "flights/f$i" --seconds 1 --seed "$i" --variant $variant >/dev/null || fail "no flight"
done
# Names without a path that differs from run to run, so that the shards are the same ones.
find flights -name '*.cont' | sed 's/\.cont$//' | sort >flights.txt
echo "== undisturbed"
"$bin/ostrelLog" regress --list flights.txt --rows undisturbed --timeout 25 --a "$libraries/a" --b "$libraries/b" >out 2>&1
[ $? -eq 1 ] || fail "$(tail -n 3 out)"
grep -qx '38 changed, 0 same, 2 failed of 40' out || fail "$(tail -n 1 out)"
# await_rows FOLDER: waits until its shards have some rows, but not all.
await_rows() {
  local attempt count=0
  for ((attempt = 0; attempt < 300 && count == 0; ++attempt)); do
    sleep 0.2
    count=$(cat "$1"/*.jsonl 2>/dev/null | wc -l)
  done
  echo "rows when disturbed: $count"
  [ "$count" -gt 0 ] && [ "$count" -lt 40 ] || fail "$1 was disturbed too early or too late"
}

echo "== GNU parallel, killed in the middle and resumed"
if can parallel "GNU parallel"; then
  mkdir laptop
  setsid parallel --will-cite --joblog laptop/jobs --resume-failed -j 2 ./shard {} 8 laptop ::: $(seq 8) &
  await_rows laptop
  kill -KILL -- -$!
  wait $! 2>/dev/null
  # Shards that were under way go on without their engine, and hold their files of rows until they are done.
  for attempt in $(seq 12); do
    parallel --will-cite --joblog laptop/jobs --resume-failed -j 2 ./shard {} 8 laptop ::: $(seq 8) && break
    [ "$attempt" -lt 12 ] || fail "parallel: $(tail -n 2 laptop/*.out)"
    sleep 5
  done
  check laptop
fi

echo "== GNU parallel over two hosts, one of which goes down"
if can parallel "two hosts" && can sshd "two hosts" && unshare --pid --fork --mount-proc true 2>/dev/null; then
  mkdir hosts
  ssh_start "$work/ssh" one two || fail "no hosts"
  PARALLEL_SSH=$SSH_HERE parallel --will-cite --plain --workdir "$work" --env OSTREL_ROOT_DIR --env TMPDIR \
    -S 2/one,2/two --retries 3 --joblog hosts/jobs ./shard {} 8 hosts ::: $(seq 8) 2>hosts/err &
  parallel=$!
  await_rows hosts
  ssh_down two
  wait $parallel || fail "parallel: $? $(cat hosts/err)"
  echo "jobs by host: $(awk 'NR > 1 {print $2}' hosts/jobs | sort | uniq -c | xargs)"
  check hosts
elif command -v parallel >/dev/null; then
  echo "not run: two hosts (no process namespaces)"
  missing=1
fi

echo "== a Slurm array, cancelled and sent again, with a node daemon killed and restarted"
if [ "$(id -u)" -ne 0 ]; then
  echo "not run: Slurm (needs root)"
  missing=1
elif can slurmctld Slurm && can munged Slurm; then
  mkdir cluster
  slurm_start "$work/slurm" 2 || fail "no Slurm"
  printf '#!/bin/sh\nexec ./shard $SLURM_ARRAY_TASK_ID 8 cluster\n' >job
  array() { sbatch --parsable --array=1-8 --requeue -o cluster/slurm-%a.out "$@" job; }
  id=$(array)
  await_rows cluster
  scancel "$id"
  until left=$(squeue -h) && [ -z "$left" ]; do sleep 0.3; done
  array --wait >/dev/null &
  waiting=$!
  sleep 4
  slurm_node_kill here2
  sleep 2
  slurm_node_start here2
  wait $waiting || fail "Slurm: $? $(cat cluster/slurm-*.out)"
  check cluster
fi
[ $missing -eq 0 ] || exit 77
