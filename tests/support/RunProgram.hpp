#pragma once

#include <map>
#include <string>
#include <vector>

/// What a program left when it ended.
struct ProgramResult {
  int exitStatus;   ///< as the shell reports it: 128 plus the signal's number after a signal
  std::string out;  ///< standard output
  std::string err;  ///< standard error, the log lines among it
};

/// Runs `program` to its end, with `variables` added to this process's environment (an empty value unsets
/// one) and no standard input.
ProgramResult runProgram(const std::string& program, const std::vector<std::string>& arguments,
                         const std::map<std::string, std::string>& variables = {});
