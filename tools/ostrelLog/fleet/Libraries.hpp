#pragma once

#include <map>
#include <string>
#include <vector>

namespace logtool {

/// The libraries that a replay loads with a folder in front.
struct Libraries {
  std::string searchPath;             ///< value of LD_LIBRARY_PATH, all absolute; empty for none
  std::vector<std::string> inFolder;  ///< paths of those that come from the folder
  std::vector<std::string> unused;    ///< paths of shared objects in the folder that are not loaded
  std::vector<std::string> needed;    ///< file names that could have come from the folder
  std::vector<std::string> missing;   ///< file names that no folder has
  std::vector<std::string> files;     ///< real paths of the program and everything that it loads
  std::string digest;                 ///< of these files
  std::map<std::string, std::string>
      digests;  ///< by file name: of the folder's, or of all but the system's
};

/// Asks the dynamic loader what `program` loads with the libraries in `folder` (which may be empty) in
/// front; nothing of it runs. Throws std::system_error when the loader can't be asked.
Libraries loadedLibraries(const std::string& program, const std::string& folder);

}  // namespace logtool
