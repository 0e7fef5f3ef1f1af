// `fuzz_<input> damage LOG`: in place of random logs, every log that a cut makes of a whole one, and every
// one in which one byte is flipped. Each must hold what the fuzzer requires of any log. A cut log, and one
// with checksums, delivers the beginning of what the whole one does, and a continuous legacy log every
// sample before the cut. Without checksums a damaged record may pass for another one, but does not change
// the others; a damaged header that is still a header gives no more records than the log has, unless its
// columns have become fewer, which must be told.

#include <sanitizer/common_interface_defs.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <functional>
#include <numeric>
#include <set>

#include "Support.hpp"
#include "support/TestFolder.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

namespace {

using Delivered = std::vector<std::string>;

const Delivered& deliver(const std::string& log) {
  REQUIRE(LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(log.data()), log.size()) == 0);
  return delivered();
}

const char* kind = "no";  ///< of damage, and where it is in the log
std::size_t place = 0;

/// Called when the process is about to die of a fault: keeps its input.
void tellFault() {
  std::fprintf(stderr, "%s at byte %zu; the log is in damaged.log\n", kind, place);
  std::ofstream("damaged.log", std::ios::binary) << inputFileBytes();
}

/// A call without its step.
std::string callOnly(const std::string& call) {
  return call.substr(0, call.find('\t'));
}

long peakKiB() {
  rusage usage{};
  REQUIRE(getrusage(RUSAGE_SELF, &usage) == 0);
  return usage.ru_maxrss;
}

void damage(const std::string& log) {
  const Delivered whole = deliver(log);
  REQUIRE(!whole.empty());
  const long firstPeak = peakKiB();
  const auto isBeginning = [&whole](const Delivered& part) {
    return part.size() <= whole.size() && std::equal(part.begin(), part.end(), whole.begin());
  };

  const bool hasChecksums = log.compare(0, 4, "TLMB") == 0;
  const bool hasCalls = log.find("type : events") < log.size();
  const std::size_t records = log.find("-- Data\n") + 8;
  const std::size_t recordBytes = (log.size() - records) / whole.size();  // of a continuous legacy log

  std::string damaged;
  kind = "cut";
  for (place = 0; place < log.size(); ++place) {
    damaged.assign(log, 0, place);
    const Delivered& part = deliver(damaged);
    REQUIRE(isBeginning(part));
    if (!hasChecksums && !hasCalls)
      REQUIRE(part.size() == (std::max(place, records) - records) / recordBytes);
  }

  std::set<std::string> known;
  for (const std::string& call : whole) known.insert(callOnly(call));
  const auto isNew = [&known](const std::string& call) { return known.count(callOnly(call)) == 0; };
  kind = "flip";
  damaged = log;
  for (place = 0; place < log.size(); ++place) {
    damaged[place] = static_cast<char>(log[place] ^ (1 << place % 8));
    const Delivered& part = deliver(damaged);
    if (hasChecksums) {
      REQUIRE(isBeginning(part));
    } else if (place < records) {
      REQUIRE(part.size() <= whole.size() || complained("nentries does not match"));
    } else if (hasCalls) {  // a damaged size or API leaves calls out, a damaged step delays the next ones
      REQUIRE(part.size() <= whole.size() && std::count_if(part.begin(), part.end(), isNew) <= 1);
    } else {
      REQUIRE(part.size() == whole.size());
      REQUIRE(std::inner_product(part.begin(), part.end(), whole.begin(), 0, std::plus<>(),
                                 std::not_equal_to<>()) <= 1);
    }
    damaged[place] = log[place];
  }
  REQUIRE(peakKiB() - firstPeak < 64L * 1024);
  std::printf("%zu cuts, %zu flips of a log that delivers %zu: peak memory %ld MiB, %ld at the first\n",
              log.size(), log.size(), whole.size(), peakKiB() / 1024, firstPeak / 1024);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* count, char*** arguments) {
  if (*count == 3 && std::strcmp((*arguments)[1], "damage") == 0) {
    __sanitizer_set_death_callback(tellFault);
    std::signal(SIGABRT, [](int) { tellFault(); });
    damage(readFile((*arguments)[2]));
    std::exit(EXIT_SUCCESS);
  }
  return 0;
}
