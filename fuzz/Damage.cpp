// `fuzz_<input> damage LOG`: in place of random logs, every log that a cut makes of a whole one, and every
// one in which one byte is flipped. Each must hold what the fuzzer requires of any log, and nothing may be
// delivered that the whole log does not deliver.

#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
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

long peakKiB() {
  rusage usage{};
  REQUIRE(getrusage(RUSAGE_SELF, &usage) == 0);
  return usage.ru_maxrss;
}

void damage(const std::string& log) {
  const Delivered whole = deliver(log);
  REQUIRE(!whole.empty());
  const long firstPeak = peakKiB();
  const std::set<std::string> known(whole.begin(), whole.end());
  const auto isNew = [&known](const std::string& one) { return known.count(one) == 0; };
  const auto isBeginning = [&whole](const Delivered& part) {
    return part.size() <= whole.size() && std::equal(part.begin(), part.end(), whole.begin());
  };

  std::string damaged;
  for (std::size_t size = 0; size < log.size(); ++size) {
    damaged.assign(log, 0, size);
    REQUIRE(isBeginning(deliver(damaged)));
  }

  const bool hasChecksums = log.compare(0, 4, "TLMB") == 0;
  const std::size_t records = log.find("-- Data\n") + 8;
  damaged = log;
  for (std::size_t i = 0; i < log.size(); ++i) {
    damaged[i] = static_cast<char>(log[i] ^ (1 << i % 8));
    const Delivered& part = deliver(damaged);
    if (hasChecksums) {
      REQUIRE(isBeginning(part));
    } else if (i >= records) {
      // Without a checksum a damaged value passes for another one, in its own record.
      REQUIRE(part.size() <= whole.size() && std::count_if(part.begin(), part.end(), isNew) <= 1);
    } else {
      // A damaged list of columns may be a shorter one, which has more records of its size.
      REQUIRE(part.size() <= whole.size() || complained("nentries does not match"));
    }
    damaged[i] = log[i];
  }
  REQUIRE(peakKiB() - firstPeak < 64L * 1024);
  std::printf("%zu cuts, %zu flips of a log that delivers %zu: peak memory %ld MiB, %ld at the first\n",
              log.size(), log.size(), whole.size(), peakKiB() / 1024, firstPeak / 1024);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* count, char*** arguments) {
  if (*count == 3 && std::strcmp((*arguments)[1], "damage") == 0) {
    damage(readFile((*arguments)[2]));
    std::exit(EXIT_SUCCESS);
  }
  return 0;
}
