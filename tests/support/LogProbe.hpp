#pragma once

#include <string>
#include <vector>

/// Stands in for the log service in a test program that links it: every line, at every priority, is kept as
/// "<P>text" with P the priority's digit, and printed to standard error for death tests to match.

/// The lines at `lowestPriority` or more urgent ones since the last call; all of them are forgotten.
std::vector<std::string> takeLogLines(int lowestPriority = 7);
