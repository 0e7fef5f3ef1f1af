#!/usr/bin/env bash
# Makes the packages once more, from a copy of the source in another folder, and compares them byte for byte:
# twice.sh SOURCE_DIR FOLDER
set -euo pipefail
source=$1 folder=$2
[ -n "$(ls "$source"/build/package/*.deb 2>/dev/null)" ] || { echo "not run: scripts/package has made no packages"; exit 77; }
rm -rf "$folder"
mkdir -p "$folder"
# With the repository, since ostrelLog --version names the commit.
tar -C "$source" --exclude=./build -c . | tar -C "$folder" -x
# A compiler cache would hand out the objects of the first build.
unset CMAKE_CXX_COMPILER_LAUNCHER
export CCACHE_DISABLE=1
"$folder/scripts/package" >"$folder/log" 2>&1 || { cat "$folder/log"; exit 1; }
cd "$source/build/package"
for package in *.deb; do
  cmp "$package" "$folder/build/package/$package"
  sha256sum "$package" "$folder/build/package/$package"
done
rm -rf "$folder"
