#!/usr/bin/env bash
# Installs the build to a prefix, then builds the tool again on the platform libraries that lie there, as one
# does with the real ones: install_and_rebuild.sh CMAKE SOURCE_DIR BUILD_DIR LIBDIR SANITIZE
set -eu
cmake=$1 source=$2 build=$3 libdir=$4 sanitize=$5
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
prefix=$folder/prefix

"$cmake" --install "$build" --prefix "$prefix" >/dev/null
for file in bin/ostrelReplay bin/ostrelLog include/ostrel/ostrel.h include/ostrelReplay/registry/DataRegistry.hpp; do
  [ -f "$prefix/$file" ] || { echo "not installed: $file"; exit 1; }
done
"$prefix/bin/ostrelReplay" -h | grep -q '^\* Usage: '  # finds its libraries beside itself
"$prefix/bin/ostrelLog" make "$folder/flight" --seconds 1 >/dev/null

"$cmake" -S "$source" -B "$folder/build" -G Ninja -DOSTREL_PLATFORM_PREFIX="$prefix" -DOSTREL_SANITIZE="$sanitize" \
  -DBUILD_TESTING=OFF >/dev/null
"$cmake" --build "$folder/build" >/dev/null
[ ! -e "$folder/build/lib/libostrel.so" ] || { echo "built our own flight-control library"; exit 1; }
"$cmake" --install "$folder/build" --prefix "$folder/second" >/dev/null
ldd "$folder/second/bin/ostrelReplay" | grep -q "libostrel.so.* => $prefix/$libdir/"
"$folder/second/bin/ostrelReplay" -h | grep -q '^\* Usage: '
