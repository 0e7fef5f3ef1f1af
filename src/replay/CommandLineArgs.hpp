#pragma once

#include <string>
#include <vector>

/// The directory of the library's configuration for a hardware name, or, without a name, the one that holds
/// the directories of all of them.
std::string configurationDirectory(const std::string& droneName);

/// The tool's options, with the running mode settled.
class CommandLineArgs {
 public:
  /// Parses the options, once per process. Help (exit status 0), a bad option, or a running mode that can't
  /// be read (1) end the process.
  CommandLineArgs(int argc, char** argv);

  /// Verifies that both input logs and the configuration directory exist, and that the environment names a
  /// pace that there is (Pace.hpp), and logs what is going to be run: 1, or -1 after a line that says what
  /// is missing or wrong.
  int check() const;

  /// Whether `newBboxPath` is one of the two input logs, which generating it would destroy.
  bool overwritesInput() const;

  std::string contBboxPath;   ///< -i: continuous log (sensor samples)
  std::string eventBboxPath;  ///< -e: event log (API calls)
  std::string newBboxPath;    ///< -g: blackbox log to generate; empty: none
  bool newBboxGiven = false;  ///< -g was given, if only with an empty path
  std::string droneName;  ///< -d: hardware name, which selects the configuration directory; may be empty
  std::string droneMode;  ///< -m: running mode; otherwise the property "persist.running-mode"
  std::vector<std::string> ignored;  ///< arguments that are no options, in their order
};
