#!/usr/bin/env bash
# Replaces each library alone at load time, with and without a new log, and under a wrong name:
# replace.sh PROGRAM_DIR LAYER_DIR
set -euo pipefail
bin=$1 layers=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
fail() { echo "$*"; exit 1; }
cd "$folder"
mkdir -p target/etc/ostrel
export OSTREL_ROOT_DIR=$folder/target LOG_LEVEL=7 KVS_FILE= TLMB_SECTION_NAME=
"$bin/ostrelLog" make flight --seconds 1 >/dev/null

# replay NAME LIBRARY...: replays twice, at once, with these libraries taken from a folder of their own.
replay() {
  local name=$1 library
  mkdir "$name"
  for library in "${@:2}"; do cp -L "$layers/lib$library.so.1" "$name"; done
  local loaded
  loaded=$(LD_LIBRARY_PATH=$folder/$name ldd "$bin/ostrelReplay")
  for library in "${@:2}"; do
    [[ $loaded == *"$folder/$name/lib$library.so.1"* ]] || fail "the replacement of $library is not loaded: $loaded"
  done
  LD_LIBRARY_PATH=$folder/$name "$bin/ostrelReplay" -i flight.cont -e flight.events 2>"$name/lines" &
  local plain=$!
  LD_LIBRARY_PATH=$folder/$name "$bin/ostrelReplay" -i flight.cont -e flight.events -g "$name/new" 2>"$name/lines-g" ||
    fail "$(tail -n 3 "$name/lines-g")"
  wait $plain || fail "$(tail -n 3 "$name/lines")"
  grep -q ': Ran 199 steps of ostrel$' "$name/lines"
}
replays=()
for name in "ostrel blackboxlog" telemetry sysprop logservice "kvs evloop"; do  # what must go together
  read -ra libraries <<<"$name"
  replay "${libraries[0]}-alone" "${libraries[@]}" &
  replays+=($!)
done
replay none &
replays+=($!)
for id in "${replays[@]}"; do wait "$id"; done
for log in *-alone/new; do cmp none/new "$log"; done

used() { sed -n 's/^<7>ostrelReplay: Flight-control library : //p' "$1/lines"; }
[ "$(used ostrel-alone)" = "$folder/ostrel-alone/libostrel.so.1" ] || fail "another library is named: $(used ostrel-alone)"
# The loader passes by a file of another name without a word; the line tells.
mkdir wrong
cp -L "$layers/libostrel.so.1" wrong/libostrel.so
LD_LIBRARY_PATH=$folder/wrong "$bin/ostrelReplay" -i flight.cont -e flight.events 2>wrong/lines
[ "$(realpath "$(used wrong)")" = "$(realpath "$layers/libostrel.so.1")" ] || fail "another library is named: $(used wrong)"
