#!/usr/bin/env bash
# Installs, uses and removes the packages in the folder /packages of a bare Debian: use_packages.sh
set -euo pipefail
export DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8
fail() { echo "$*"; exit 1; }
quietly() { "$@" >/tmp/output 2>&1 || fail "'$*' failed: $(cat /tmp/output)"; }
install() { quietly apt-get install -y --no-install-recommends "$@"; }
# What the package system itself writes is not counted.
files() {
  find / -xdev \( -path /proc -o -path /dev -o -path /tmp -o -path '/var/cache/*' -o -path '/var/log/*' -o \
    -path '/var/lib/dpkg/*' -o -path '/var/lib/apt/*' -o -path /etc/ld.so.cache \) -prune -o -print | sort
}
# remove PACKAGE...: with what was only installed for them; fails when a file is left or missing.
remove() {
  quietly apt-get purge -y --autoremove "$@"
  files >after
  diff before after || fail "the removal of $* leaves (>) or takes (<) these files"
  echo "  nothing is left"
}
cd /tmp
apt-get -q -o APT::Update::Error-Mode=any update >output 2>&1 || { echo "not run: no packages are to be had: $(tail -n 2 output)"; exit 77; }

echo "== ostrel-replay is installed, with what it depends on"
files >before
install /packages/ostrel-replay_*.deb
sed -n 's/^Setting up/ /p' output

echo "== The flight of the demo is replayed, and so is the log of that replay"
mkdir -p target/etc/ostrel
export OSTREL_ROOT_DIR=/tmp/target LOG_LEVEL=warning
ostrelLog make flight --seconds 30 --variant quad-x
ostrelLog check flight.cont flight.events
LOG_LEVEL=info ostrelReplay -i flight.cont -e flight.events -g replay.tlmb
TLMB_SECTION_NAME=navdata-replay ostrelReplay -i replay.tlmb -e flight.events -g again.tlmb
ostrelLog diff replay.tlmb again.tlmb

echo "== It is removed"
remove ostrel-replay

echo "== Both packages beside the manual, completion and a compiler"
install man-db bash-completion g++ cmake make pkg-config
files >before
install /packages/*.deb
for page in ostrelReplay ostrelLog ostrelLog-diff; do
  man $page 2>errors | grep "^ *$page - " || fail "man $page: $(cat errors)"
done
cd /usr/share/doc/ostrel-replay
grep -roP '\]\(\K(?!https?:)[^)#]+' --include='*.md' . | while IFS=: read -r document link; do
  [ -e "$(dirname "$document")/$link" ] || fail "$document has a link to $link, which is not installed"
done
cd /tmp
# completed WORD...: what a tab at the end of the line offers.
completed() {
  bash -c 'source /usr/share/bash-completion/bash_completion; _completion_loader ostrelLog; COMP_WORDS=(ostrelLog "$@")
    COMP_CWORD=$# COMP_LINE="ostrelLog $*" COMP_POINT=${#COMP_LINE}; _ostrelLog ostrelLog; echo "${COMPREPLY[*]}"' bash "$@" 2>/dev/null
}
[ "$(completed rec)" = recover ] || fail "verbs offered: $(completed rec)"
[ "$(completed diff flight.cont --only inputs.sensors.baro.p)" = inputs.sensors.baro.pressure ] ||
  fail "variables offered: $(completed diff flight.cont --only inputs.sensors.baro.p)"
echo "  completion offers verbs and variables"
mkdir project
cat >project/CMakeLists.txt <<'END'
cmake_minimum_required(VERSION 3.25)
project(own CXX)
find_package(OstrelReplay 1 REQUIRED)
add_executable(own own.cpp)
target_link_libraries(own PRIVATE Ostrel::registry)
END
cat >project/own.cpp <<'END'
#include <cstdio>
#include <registry/DataRegistry.hpp>
int field;
DataRegistry registry;
int main() { return registry.reg("field", &field), std::printf("  %zu entry in a registry of its own\n", registry.entries.size()) < 0; }
END
# The standard that a compiler with a lower default would use: the package asks for its own.
quietly cmake -S project -B project/build -DCMAKE_CXX_STANDARD=14
quietly cmake --build project/build
project/build/own | grep ' 1 entry'
# shellcheck disable=SC2046 # the flags are words of their own
quietly g++ -std=c++17 project/own.cpp $(pkg-config --cflags --libs ostrel-registry) -o own
./own | grep ' 1 entry'

echo "== Both are removed"
remove ostrel-replay ostrel-replay-dev
