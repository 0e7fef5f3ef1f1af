#pragma once

#include <string>

namespace logtool {

/// The folder for the replays of one run, in the folder for temporary files. It is removed at the end;
/// those of runs that were killed are removed by the next one.
class WorkFolder {
 public:
  /// Throws std::system_error when there can be none.
  WorkFolder();
  WorkFolder(const WorkFolder&) = delete;
  WorkFolder& operator=(const WorkFolder&) = delete;
  ~WorkFolder();

  std::string path;  ///< absolute, without links

 private:
  int lock = -1;  // held as long as the run lives: others leave the folder alone
};

}  // namespace logtool
