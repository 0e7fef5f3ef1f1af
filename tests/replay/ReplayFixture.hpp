#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "support/LegacyLog.hpp"
#include "support/Row.hpp"
#include "support/RunProgram.hpp"
#include "support/TestFolder.hpp"

using Lines = std::vector<std::string>;

// What the tool says at the end of a replay.
const std::string END = "<6>ostrelReplay: Reached end of replay";
inline std::string ran(int lastStep) {
  return "<6>ostrelReplay: Ran " + std::to_string(lastStep) + " steps of ostrel";
}

/// Samples of the first and the last field of the sensors.
const std::string COLUMNS =
    continuousHeader({"index", "inputs.sensors.imu.gyro[0].x", "inputs.sensors.flags"});
const std::string APIS =
    eventHeader("set_motors_armed, take_off, land", "1, 1, 0", "armed, altitude, none");
constexpr int ARM = 0, TAKE_OFF = 1, LAND = 2;

/// A continuous log of these step indices. The sensors of step N are the image N..100+N of the call probe.
inline std::string samples(const std::vector<int>& indices) {
  std::string bytes = COLUMNS;
  for (const int index : indices) bytes += values({double(index), double(index), double(index) + 100});
  return bytes;
}

/// Runs the built tool on logs of the test's own, with the call probe before it, so that log lines and
/// calls stand in one sequence: "<P>ostrelReplay: text" and "@call arguments".
class ReplayFixture : public testing::Test {
 protected:
  ReplayFixture() {
    folder.makeDirectory("root/etc/ostrel/board");
    for (const char* unset : {"SYS_PROP_FILE", "KVS_FILE", "TLMB_SECTION_NAME"}) variables[unset] = "";
  }

  /// Runs the tool with these arguments; the lines of standard error are kept in `lines`, but for the list
  /// of the columns that the test's small log lacks.
  ProgramResult run(const Lines& arguments) {
    ProgramResult result = runProgram(OSTREL_REPLAY, arguments, variables);
    lines.clear();
    std::istringstream err(result.err);
    const std::regex missing("<4>ostrelReplay: (    |[0-9]+ registered entries not found in file).*");
    for (std::string line; std::getline(err, line);) {
      if (!std::regex_match(line, missing)) lines.push_back(line);
    }
    return result;
  }

  /// Replays logs of these bytes with these options.
  ProgramResult replay(const std::string& continuous, const std::string& events,
                       const Lines& options = {"-d", "board"}) {
    Lines arguments = {"-i", folder.write("cont", continuous), "-e", folder.write("events", events)};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return run(arguments);
  }

  /// The lines that begin with one of these texts, in order.
  Lines linesLike(const Lines& starts) const {
    Lines found;
    for (const std::string& line : lines) {
      const auto begins = [&](const std::string& start) { return line.rfind(start, 0) == 0; };
      if (std::any_of(starts.begin(), starts.end(), begins)) found.push_back(line);
    }
    return found;
  }

  TestFolder folder;
  std::map<std::string, std::string> variables = {
      {"OSTREL_ROOT_DIR", folder.path("root")}, {"LD_PRELOAD", CALL_PROBE}, {"LOG_LEVEL", "6"}};
  Lines lines;
};

/// Replays into new blackbox logs, with settings that the tool borrows.
class ExportFixture : public ReplayFixture {
 protected:
  ExportFixture() { variables["KVS_FILE"] = settings; }

  /// Replays a log of these bytes, with one call at step 1, into `target`.
  ProgramResult replayInto(const std::string& target, const std::string& continuous) {
    return replay(continuous, APIS + event(1, ARM, {1}) + event(9, LAND), {"-d", "board", "-g", target});
  }

  /// All errors and warnings but the first, which is the variant's.
  Lines complaints() const {
    Lines found = linesLike({"<3>", "<4>"});
    if (!found.empty()) found.erase(found.begin());
    return found;
  }

  const std::string earlier = "# mine\ns tlm-blackbox.logname kept\nb tlm-blackbox.enabled true";
  const std::string settings =
      (folder.makeDirectory("settings"), folder.write("settings/file", earlier));  // and nothing else there
  const std::string output = folder.path("out");
};
