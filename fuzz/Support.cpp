#include "Support.hpp"

#include <syslog.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>

#include "logservice/log.h"
#include "support/TestFolder.hpp"

namespace {

const TestFolder& folder() {
  static const TestFolder made = [] {
    if (std::filesystem::is_directory("/dev/shm")) setenv("TMPDIR", "/dev/shm", 1);
    return TestFolder();
  }();
  return made;
}

std::string complaints;  ///< the first ones of the input, back to back

}  // namespace

/// Freed memory is kept for a while so that its use shows; so much of it that limits of memory mean
/// something.
extern "C" const char* __asan_default_options() {
  return "quarantine_size_mb=16";
}

int log_admits(const char* /*tag*/, int /*priority*/) {
  return 1;
}

void log_print(const char* /*tag*/, int priority, const char* format, ...) {
  std::array<char, 4096> line;
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(line.data(), line.size(), format, arguments);
  va_end(arguments);
  REQUIRE(length >= 0 && priority >= 0 && priority <= 7);
  if (priority <= LOG_WARNING && complaints.size() < 64 * line.size()) complaints += line.data();
  if (std::strncmp(line.data(), "call ", 5) == 0) delivered().emplace_back(line.data());
}

void requirementFailed(const char* condition, const char* file, int line) {
  std::fprintf(stderr, "%s:%d: not so: %s\n", file, line, condition);
  std::abort();
}

std::vector<std::string>& delivered() {
  static std::vector<std::string> all;
  return all;
}

bool complained(const std::string& text) {
  return complaints.find(text) != std::string::npos;
}

const std::string& inputFile(const std::uint8_t* bytes, std::size_t size) {
  static const std::string path = folder().path("input");
  delivered().clear();
  complaints.clear();
  folder().write("input", std::string(reinterpret_cast<const char*>(bytes), size));
  return path;
}

std::string inputFileBytes() {
  return readFile(folder().path("input"));
}

std::vector<std::string> likelyKeys(const std::uint8_t* bytes, std::size_t size) {
  std::vector<std::string> keys;
  const std::string text(reinterpret_cast<const char*>(bytes), size);
  for (std::size_t start = 0; start < size && keys.size() < 4;) {
    const std::size_t end = std::min(text.find_first_of(" =\r\n", start), size);
    // Only up to a NUL, as the one who is asked sees it: two of them must not be one key.
    if (end - start > 1) keys.emplace_back(text.substr(start, end - start).c_str());
    start = end + 1;
  }
  return keys;
}
