#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "support/LegacyLog.hpp"
#include "support/RunProgram.hpp"
#include "support/TestFolder.hpp"

/// Runs the built tool on logs of the test's own, with the call probe before it, so that log lines and
/// calls stand in one sequence: "<P>ostrelReplay: text" and "@call arguments".
class ReplayFixture : public testing::Test {
 protected:
  ReplayFixture() {
    folder.makeDirectory("root/etc/ostrel/board");
    for (const char* unset : {"SYS_PROP_FILE", "KVS_FILE", "TLMB_SECTION_NAME"}) variables[unset] = "";
  }

  /// Runs the tool with these arguments; the lines of standard error are kept in `lines`.
  ProgramResult run(const std::vector<std::string>& arguments) {
    ProgramResult result = runProgram(OSTREL_REPLAY, arguments, variables);
    lines.clear();
    std::istringstream err(result.err);
    for (std::string line; std::getline(err, line);) lines.push_back(line);
    return result;
  }

  /// Replays logs of these bytes as variant "board", with more options behind.
  ProgramResult replay(const std::string& continuous, const std::string& events,
                       const std::vector<std::string>& options = {"-d", "board"}) {
    std::vector<std::string> arguments = {"-i", folder.write("cont", continuous), "-e",
                                          folder.write("events", events)};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return run(arguments);
  }

  /// The lines that begin with one of these texts, in order.
  std::vector<std::string> linesLike(const std::vector<std::string>& starts) const {
    std::vector<std::string> found;
    for (const std::string& line : lines) {
      const auto begins = [&](const std::string& start) { return line.rfind(start, 0) == 0; };
      if (std::any_of(starts.begin(), starts.end(), begins)) found.push_back(line);
    }
    return found;
  }

  TestFolder folder;
  std::map<std::string, std::string> variables = {
      {"OSTREL_ROOT_DIR", folder.path("root")}, {"LD_PRELOAD", CALL_PROBE}, {"LOG_LEVEL", "6"}};
  std::vector<std::string> lines;
};
