#!/usr/bin/env bash
# Exports flights to MCAP and reads them with the readers of viewers, got by npm into a temporary folder:
# viewers.sh BIN_DIR. Exits with status 77, which CTest calls "not run", when there is no npm.
set -eu
bin=$1
command -v npm >/dev/null || { echo "not run: there is no npm"; exit 77; }
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cp "$(dirname "$0")"/{package.json,package-lock.json,viewers.mjs} "$folder"
cd "$folder"
npm ci --ignore-scripts --no-audit --no-fund --loglevel=error

export OSTREL_ROOT_DIR=$folder LOG_LEVEL=3
mkdir -p etc/ostrel
"$bin/ostrelLog" make flight --seconds 20
"$bin/ostrelReplay" -i flight.cont -e flight.events -g flight.tlmb
"$bin/ostrelLog" export flight.cont --events flight.events --format mcap -o flight.mcap
"$bin/ostrelLog" export flight.cont --format mcap --compression none -o plain.mcap
"$bin/ostrelLog" export flight.tlmb --format mcap -o replay.mcap
# A flight whose stamps go back in the middle: its second half and then its first.
header=$(($(grep -abo -m 1 '^-- Data$' flight.cont | cut -d : -f 1) + 8)) half=$((2000 * 139 * 8))
{ head -c $header flight.cont; tail -c $half flight.cont; tail -c +$((header + 1)) flight.cont | head -c $half; } >back.cont
"$bin/ostrelLog" export back.cont --format mcap -o back.mcap
# Titles that are no names in ROS 2, and whose names there would be the same.
titles='index, a.b, A.B, a.b_, 9.=, string, #, ", a.float64, calls.x, index., é.x, ..., a[1]b'
printf -- '-- Build infos\nnentries : 14\ntitles : %s\n-- Data\n' "$titles" >odd.cont
{ head -c 8 /dev/zero; seq 100 200 | head -c 104; } >>odd.cont
"$bin/ostrelLog" export odd.cont --format mcap -o odd.mcap
node viewers.mjs
