#pragma once

#include <gtest/gtest.h>

#include <iomanip>
#include <nlohmann/json.hpp>
#include <sstream>

#include "support/BlackboxBuilder.hpp"
#include "support/LegacyLog.hpp"
#include "support/Row.hpp"
#include "support/RunProgram.hpp"
#include "support/TestFolder.hpp"

/// Runs the built programs in a folder of the test's own, so that their output names files without a path.
class LogTool : public testing::Test {
 protected:
  /// Runs ostrelLog with arguments that blanks separate; quotes hold one together. The libraries' log lines
  /// are switched off: what is on standard error is the tool's own.
  ProgramResult run(const std::string& arguments) const {
    std::vector<std::string> command = {"-C", folder.path(""), OSTREL_LOG};
    std::istringstream words(arguments);
    for (std::string word; words >> std::quoted(word);) command.push_back(word);
    return runProgram("/usr/bin/env", command, {{"LOG_LEVEL", "0"}});
  }

  /// Runs ostrelLog and compares all that it leaves.
  void expectRun(const std::string& arguments, const ProgramResult& expected) const {
    const ProgramResult result = run(arguments);
    EXPECT_EQ(result.exitStatus, expected.exitStatus);
    EXPECT_EQ(result.out, expected.out);
    EXPECT_EQ(result.err, expected.err);
  }

  TestFolder folder;
};

/// The data of a page, as its own program reads it.
inline nlohmann::json dataOf(const std::string& page) {
  const std::string start = "<script type=\"application/json\" id=\"data\">";
  const std::size_t begin = page.find(start) + start.size();
  return nlohmann::json::parse(page.substr(begin, page.find("</script>", begin) - begin));
}

/// The bytes of numbers, back to back.
template <class... Numbers>
std::string packed(Numbers... numbers) {
  return (... + BlackboxBuilder::raw(numbers));
}

/// All of a log but its last bytes.
inline std::string cutBy(std::size_t bytes, const std::string& log) {
  return log.substr(0, log.size() - bytes);
}

/// An event log of land(), whose event id is 0, and move(to, by), whose event id is 1.
inline std::string callsOf(const std::string& events) {
  return eventHeader("land, move", "0, 2", "none, to, by", "product : quad-x\n") + events;
}
inline std::string land(double step) {
  return event(step, 0);
}
inline std::string move(double step, double to, double by) {
  return event(step, 1, {to, by});
}
