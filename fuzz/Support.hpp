#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

/// What the fuzzers share. Their log service formats every line, so that a bad format is seen, and keeps
/// only what the library tells of its calls.

/// Ends the fuzzer with a report of the input, as a crash would.
#define REQUIRE(condition) \
  if (!(condition)) requirementFailed(#condition, __FILE__, __LINE__)
[[noreturn]] void requirementFailed(const char* condition, const char* file, int line);

/// What came out of the log under way so far: samples as their bytes and their step index, calls as the
/// library tells them, and behind a tab the step. A new input begins with nothing.
std::vector<std::string>& delivered();

/// Whether a line at warning priority or above has had this text since the input began.
bool complained(const std::string& text);

/// Writes the input to this process's one input file, in memory where that is possible. Returns its path.
const std::string& inputFile(const std::uint8_t* bytes, std::size_t size);

/// The bytes of the input file as they are now.
std::string inputFileBytes();

/// Texts of the input that a reader may take for keys, a few at most: the words before a blank or '='.
std::vector<std::string> likelyKeys(const std::uint8_t* bytes, std::size_t size);
