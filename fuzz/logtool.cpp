#include <iostream>
#include <streambuf>

#include "Support.hpp"
#include "ostrelLog/verbs/Diff.hpp"
#include "ostrelLog/verbs/Info.hpp"

namespace {

using logtool::Diff;
using logtool::ExitStatus;
using logtool::Info;

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

  Info info;
  info.options.files = {inputFile(bytes, size)};
  info.options.columns = true;
  const ExitStatus state = info.run();
  REQUIRE(state == ExitStatus::WHOLE || state == ExitStatus::UNREADABLE || state == ExitStatus::NOT_WHOLE);
  info.options.json = true;
  REQUIRE(info.run() == state);

  // A log is the same as itself, or cannot be compared.
  Diff diff;
  diff.options.files = {info.options.files[0], info.options.files[0]};
  logtool::CompareOptions& comparison = diff.options.comparison;
  for (const bool byRecord : {false, true}) {
    comparison.byRecord = byRecord;
    const ExitStatus same = diff.run();
    REQUIRE(same == ExitStatus::SAME || same == ExitStatus::TROUBLE);
    REQUIRE(state == ExitStatus::WHOLE || same == ExitStatus::TROUBLE);
  }
  comparison.tolerance = 0.5;
  comparison.selection.only = likelyKeys(bytes, size);
  const ExitStatus alike = diff.run();
  REQUIRE(alike == ExitStatus::SAME || alike == ExitStatus::TROUBLE);
  return 0;
}
