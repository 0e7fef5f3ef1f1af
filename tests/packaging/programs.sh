#!/usr/bin/env bash
# Checks both programs and our layers as the loader sees them, in the build tree or installed:
# programs.sh PROGRAM_DIR LAYER_DIR [DOCUMENT] compares also what the programs import with the DOCUMENT's list.
set -euo pipefail
export LC_ALL=C
programs=("$1/ostrelReplay" "$1/ostrelLog" "$1/../libexec/ostrelReplay/ostrelLibrary") layers=("$2"/lib*.so*)
fail() { echo "$*"; exit 1; }

for file in "${programs[@]}" "${layers[@]}"; do
  path=$(readelf -d "$file" | sed -n 's/.*(RUNPATH).*\[\(.*\)\]/\1/p')
  [ "${path#\$ORIGIN}" != "$path" ] || fail "$file: the search path '$path' does not begin with \$ORIGIN"
  [[ :$path: != *::* ]] || fail "$file: an empty element in the search path '$path'"
done

# A symbol in lower case is local: no library gets it.
for file in "${programs[@]}" "$2/libostrel.so"; do
  exported=$(nm -D --defined-only -C "$file" | grep -E '^[^ ]* [A-Z] .*(Data|Registra|introspect|sensor|join)' || true)
  [ -z "$exported" ] || fail "$file exports: $exported"
done

# The telemetry library can be replaced alone.
! nm -D --undefined-only -C "$2/libblackboxlog.so" | grep telemetry:: || fail "our logging service calls the telemetry library"

[ $# -eq 3 ] || exit 0
symbols() {
  nm -D -C "$@" | sed -E 's/^.{16} . //; s/@.*//; s/std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >/std::string/g' | sort -u
}
imported=$(comm -12 <(symbols --undefined-only "${programs[@]}") \
  <(symbols --defined-only "$2"/lib{evloop,kvs,logservice,ostrel,sysprop,telemetry}.so) | grep -Ev '^(typeinfo for|$)')
diff <(sed -nE '/^## Functions/,/^## Classes/s/^\| `([^`]*)` \|.*/\1/p' "$3" | sort -u) - <<<"$imported" ||
  fail "$3 lists other functions (<) than the programs import (>)"

constants() { grep -rhoEw '[A-Z][A-Z0-9]*_[A-Z0-9_]+' "$@" | sort -u; }
source=$(dirname "$3")/..
comm -12 <(constants "$source"/platform/{evloop,kvs,logservice,ostrel,sysprop,telemetry}/include) \
  <(constants --include=*.[ch]pp "$source"/src "$source"/tools) | while read -r name; do
  grep -qw "$name" "$3" || fail "$3 does not list the constant $name"
done
