#!/usr/bin/env bash
# Builds the programs on a platform that has just what docs/platform.md lists, in layouts of its own, and replays
# flights there: foreign_platform.sh CMAKE SOURCE_DIR BUILD_DIR LAYER_DIR ODD_LOG
#
# The platform is ours with other headers: members more, members renamed, and without what only ours has. Its
# flight-control library has registry classes of the same names as ours, which count their calls.
set -euo pipefail
cmake=$1 source=$2 build=$3 layer_dir=$4 odd_log=$5
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
fail() { echo "$*"; exit 1; }

"$cmake" --install "$build" --prefix "$folder/ours" >/dev/null
"$source/tests/packaging/programs.sh" "$folder/ours/bin" "$folder/ours/$layer_dir"
cd "$folder"
ours/bin/ostrelLog make flight --seconds 2 >/dev/null  # finds its libraries in their folder
mkdir -p target/etc/ostrel
export OSTREL_ROOT_DIR=$folder/target LOG_LEVEL=7
ours/bin/ostrelReplay -i flight.cont -e flight.events -g flight.tlmb 2>replay.log
grep -q "^<7>ostrelReplay: Flight-control library : $folder/ours/.*/$layer_dir/libostrel.so.1$" replay.log

# change FILE SCRIPT: edits a file of the foreign platform, which must have what is edited.
change() {
  cp "$1" before
  sed -i -E "$2" "$1"
  ! cmp -s before "$1" || fail "$1 has nothing to edit any more: $*"
}
cp -r "$source/platform" "$source/src/registry" .
mkdir -p prefix/lib
for library in evloop kvs logservice ostrel sysprop telemetry; do cp -r "platform/$library/include" prefix; done
rm prefix/include/telemetry/blackbox_position.hpp platform/ostrel/log_tlmb.cpp
change prefix/include/telemetry/var_desc.hpp 's/elementBytes/width/;
  s/^struct VarDesc \{/&\n  double scale = 1;/'
change prefix/include/telemetry/producer.hpp 's/^  std::vector<Variable> registered;/  void* own[5] = {};\n&/'
change prefix/include/kvs/kvs.h 's/^  int type;/  long own[2];\n&/'
change prefix/include/ostrel/api_input.hpp 's/^  ~Input\(/  virtual&/;
  s/^  const std::string name;/  long own = 0;\n&/'
for file in platform/telemetry/*.?pp; do sed -i 's/elementBytes/width/g' "$file"; done
change platform/telemetry/registrator.cpp 's/\{\{name, type, count, width\}, address\}/{{1, name, type, count, width}, address}/'
change platform/telemetry/blackbox_reader.cpp '/blackbox_position.hpp|(position|closed)\(\) const override/d;
  s/, public BlackboxPosition//'
change registry/DataEntry.hpp 's/void fromRecord\(double& value\) const override \{/& ++fromRecordCalls;/;
  s/^class DataEntryBase \{/inline int fromRecordCalls = 0;\n&/;
  s/^  T\* ptr;.*/&\n  long own = 0;/'
change registry/DataRegistry.hpp 's/^  bool frozen.*/&\n  long own[4] = {};/'
change registry/DataRegistry.cpp '/^static_assert\(sizeof/d'
change registry/DataEntry.cpp '/DataEntry<bool>\) == 56/d'
cat >platform/ostrel/counts.cpp <<'END'
#include <cstdio>
#include "ostrel/log_tlmb.h"
#include "registry/DataRegistry.hpp"
static struct Report { ~Report() { if (fromRecordCalls > 0) std::printf("%d values set\n", fromRecordCalls); } } report;
int ostrel_log_tlmb_init(const char*, int, int) { return 0; }
int ostrel_log_tlmb_put(const struct timespec*) { return 0; }
int ostrel_log_tlmb_cleanup() { return 0; }
END
# library NAME SOURCE...: builds it with all its symbols visible.
library() { g++ -std=c++17 -shared -fPIC -Iprefix/include -I. "${@:2}" -ldeflate -o "prefix/lib/lib$1.so" -Wl,-soname,"lib$1.so.7"; }
library ostrel platform/ostrel/*.cpp registry/*.cpp &
for name in evloop kvs logservice sysprop telemetry; do library $name platform/$name/*.cpp; done
wait $!
for file in prefix/lib/*.so; do ln -s "$(basename "$file")" "$file.7"; done

"$cmake" -S "$source" -B build -G Ninja -DOSTREL_PLATFORM_PREFIX="$folder/prefix" -DBUILD_TESTING=OFF >/dev/null
"$cmake" --build build -j 2 >build.log || fail "$(cat build.log)"
"$cmake" --install build --prefix "$folder/tool" >/dev/null
[ "$(readelf -d tool/bin/ostrelReplay | sed -n 's/.*RUNPATH.*\[\(.*\)\]/\1/p')" = "$folder/prefix/lib" ]

replays() { tool/bin/ostrelReplay "$@" -e flight.events >printed 2>replay.log && grep -q '^<6>.*: Ran 399 steps of ostrel$' replay.log; }
for log in flight.cont flight.tlmb; do
  TLMB_SECTION_NAME=navdata-replay replays -i $log -g new.tlmb || fail "$(tail replay.log)"
  grep -q "^<7>ostrelReplay: Flight-control library : $folder/prefix/lib/libostrel.so.7$" replay.log
  [ "$(grep -c '^<7>ostrel: call ' replay.log) calls, $(cat printed)" = "17 calls, 49 values set" ] || fail "$(cat printed)"
done
tool/bin/ostrelLog --version | grep -x "Telemetry library : $folder/prefix/lib/libtelemetry.so.7" >/dev/null
inputs=$(tool/bin/ostrelLog info --names flight.cont | grep -c '^inputs\.')
tool/bin/ostrelLog diff flight.cont flight.tlmb --only 'inputs.*' | grep "^same: 400 steps, $inputs variables" >/dev/null
! tool/bin/ostrelLog info flight.tlmb >info || fail "a log is called whole whose end is not told"
grep -qx '  end        not told' info
"$odd_log" odd.tlmb
tool/bin/ostrelLog info --columns odd.tlmb >info || true
ours/bin/ostrelLog info --columns odd.tlmb | sed 's/^  end .*/  end        not told/' | diff - info

# A flight-control library that is built on the installed registry.
cat >own.cpp <<'END'
#include "registry/DataRegistry.hpp"
int registered() { DataRegistry registry; int field; registry.reg("field", &field); return registry.entries.size(); }
END
g++ -std=c++17 -shared -fPIC -Iprefix/include -Itool/include/ostrelReplay own.cpp -Wl,--no-undefined \
  -Ltool/lib -lostrel_registry -Lprefix/lib -ltelemetry -llogservice -o libown.so
