#include <iostream>
#include <streambuf>

#include "Support.hpp"
#include "ostrelLog/verbs/Diff.hpp"
#include "ostrelLog/verbs/Info.hpp"

namespace {

/// Takes whatever is written, and drops it.
class Nowhere : public std::streambuf {
  int overflow(int byte) override { return traits_type::not_eof(byte); }
  std::streamsize xsputn(const char* /*bytes*/, std::streamsize count) override { return count; }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static Nowhere nowhere;
  std::cout.rdbuf(&nowhere);
  std::cerr.rdbuf(&nowhere);

  InfoOptions info;
  info.files = {inputFile(bytes, size)};
  info.columns = true;
  const int state = describeLogs(info);
  REQUIRE(state == 0 || state == 1 || state == 3);
  info.json = true;
  REQUIRE(describeLogs(info) == state);

  // A log is the same as itself, or can't be compared.
  DiffOptions diff;
  diff.fileA = diff.fileB = info.files[0];
  for (diff.byRecord = false;; diff.byRecord = true) {
    const int same = diffLogs(diff);
    REQUIRE(same == 0 || same == EXIT_TROUBLE);
    REQUIRE(state == 0 || same == EXIT_TROUBLE);
    if (diff.byRecord) break;
  }
  diff.tolerance = 0.5;
  diff.only = likelyKeys(bytes, size);
  const int alike = diffLogs(diff);
  REQUIRE(alike == 0 || alike == EXIT_TROUBLE);
  return 0;
}
