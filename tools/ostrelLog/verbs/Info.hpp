#pragma once

#include <string>
#include <vector>

/// What `ostrelLog info` is asked for.
struct InfoOptions {
  std::vector<std::string> files;
  bool json = false;     ///< an array with an object per file, for programs; names every variable
  bool columns = false;  ///< the text names every variable too
};

/// Says on standard output what each of the logs is and holds, one after the other. Memory does not grow
/// with a log's length.
///
/// Returns the exit status: 0 when all logs are whole, 3 when one is cut or damaged, 1 when one could not
/// be read or is no log, after one line on standard error for each.
int describeLogs(const InfoOptions& options);
