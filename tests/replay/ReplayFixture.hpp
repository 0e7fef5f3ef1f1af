#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <boost/algorithm/string.hpp>
#include <regex>
#include <sstream>

#include "support/LegacyLog.hpp"
#include "support/Row.hpp"
#include "support/RunProgram.hpp"
#include "support/TestFolder.hpp"

using Lines = std::vector<std::string>;

// What the tool says at the end of a replay.
const std::string END = "<6>Reached end of replay";
inline std::string ran(int lastStep) {
  return "<6>Ran " + std::to_string(lastStep) + " steps of ostrel";
}

/// Samples of the first and the last field of the sensors, and of their time.
const std::string COLUMNS =
    continuousHeader({"index", "inputs.sensors.imu.gyro[0].x", "inputs.sensors.flags",
                      "inputs.sensors.imu.timestamp[0].tv_nsec"});
const std::string APIS =
    eventHeader("set_motors_armed, take_off, land", "1, 1, 0", "armed, altitude, none");
constexpr int ARM = 0, TAKE_OFF = 1, LAND = 2;

/// A continuous log of these step indices. The sensors of step N are the image N..100+N of the call probe,
/// at N ns.
inline std::string samples(const std::vector<int>& indices) {
  std::string bytes = COLUMNS;
  for (const double step : indices) bytes += values({step, step, step + 100, step});
  return bytes;
}

/// Runs the built tool on logs of the test's own, with the call probe before it, so that log lines and
/// calls stand in one sequence: "<P>text" and "@call arguments".
class ReplayFixture : public testing::Test {
 protected:
  ReplayFixture() { folder.makeDirectory("root/etc/ostrel/board"); }

  /// Runs the tool with these arguments, after these commands of the shell. The lines of standard error are
  /// kept in `lines`, without the path of the folder and the tool's tag, and without the list of the
  /// columns that the test's small log lacks.
  ProgramResult run(const Lines& arguments, const std::string& commands = "") {
    Lines all = {"-c", commands + "\nLD_PRELOAD=$PRELOAD exec \"$0\" \"$@\"", OSTREL_REPLAY};
    all.insert(all.end(), arguments.begin(), arguments.end());
    ProgramResult result = runProgram("/bin/sh", all, variables);
    boost::erase_all(result.err, folder.path(""));
    boost::replace_all(result.err, ">ostrelReplay: ", ">");
    lines.clear();
    std::istringstream err(result.err);
    const std::regex missing("<4>(    |[0-9]+ registered entries not found in file).*");
    for (std::string line; std::getline(err, line);) {
      if (!std::regex_match(line, missing)) lines.push_back(line);
    }
    return result;
  }

  /// Replays logs of these bytes with these options.
  ProgramResult replay(const std::string& continuous, const std::string& events,
                       const Lines& options = {"-d", "board"}, const std::string& commands = "") {
    Lines arguments = {"-i", folder.write("cont", continuous), "-e", folder.write("events", events)};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return run(arguments, commands);
  }

  /// The lines that begin like this pattern, in order.
  Lines linesLike(const std::string& pattern) const {
    Lines found;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(found), [&](const std::string& line) {
      return std::regex_search(line, std::regex("^(" + pattern + ")"));
    });
    return found;
  }

  /// Replays a log of these bytes, with one call at step 1, into the new blackbox log `target`.
  ProgramResult replayInto(const std::string& target, const std::string& continuous,
                           const std::string& commands = "") {
    const std::string events = APIS + event(1, ARM, {1}) + event(9, LAND);
    return replay(continuous, events, {"-d", "board", "-g", target}, commands);
  }

  /// All errors and warnings but those of every replayInto(): of the variant, and of the call at step 9.
  Lines complaints() const { return linesLike("<3>[^U]|<4>(?!Event file events : 1 calls)"); }

  TestFolder folder;
  // The settings, some of which an export borrows.
  const std::string earlier = "# mine\ns tlm-blackbox.logname kept\nb tlm-blackbox.enabled true";
  const std::string settings =
      (folder.makeDirectory("settings"), folder.write("settings/file", earlier));  // and nothing else there
  const std::string output = folder.path("out");
  std::map<std::string, std::string> variables = {{"OSTREL_ROOT_DIR", folder.path("root")},
                                                  {"KVS_FILE", settings},
                                                  {"SYS_PROP_FILE", ""},
                                                  {"TLMB_SECTION_NAME", ""},
                                                  {"OSTREL_REPLAY_PACE", ""},
                                                  {"PRELOAD", CALL_PROBE},
                                                  {"LOG_LEVEL", "6"}};
  Lines lines;
};
