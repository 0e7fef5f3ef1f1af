#pragma once

#include <unistd.h>

#include <map>
#include <memory>
#include <string>

#include "kvs/kvs.h"

namespace kvs {

/// Owns an open file descriptor; a negative one is none.
struct UniqueFd {
  explicit UniqueFd(int openFd) : fd(openFd) {}
  UniqueFd(const UniqueFd&) = delete;
  UniqueFd& operator=(const UniqueFd&) = delete;
  ~UniqueFd() {
    if (fd >= 0) ::close(fd);
  }
  const int fd;
};

/// Whether `key` can name a setting: not empty, no blanks, no control characters.
bool isKey(const std::string& key);

/// The settings of one text file, in the format that kvs.h describes, or of memory alone.
///
/// While they are open, "<file>.lock" lies beside the file with its flock held. The kernel drops the lock
/// of a killed process, so the lock file that it leaves behind blocks nobody.
class SettingsFile {
 public:
  /// Opens and locks the file `name`, which need not exist; an empty name gives settings in memory. Null,
  /// after an error line, when that fails.
  static std::unique_ptr<SettingsFile> open(const std::string& name);
  /// Writes the file if the settings differ from those in it; a failure is an error line.
  ~SettingsFile();

  /// Reads a setting. False, with `value` empty, when there is none.
  bool get(const std::string& key, kvs_value& value) const;
  /// Sets a valid key to a valid `value`, or removes it when that is empty: 0, or -EFBIG and no change.
  int set(const std::string& key, const kvs_value& value);

 private:
  int takeLock();
  int load();
  void parse(const std::string& bytes);

  std::string path;                ///< absolute and without links; empty for memory alone
  std::unique_ptr<UniqueFd> lock;  ///< held, or null
  /// By key, the rest of the line that sets it: "s /data/flights". A kvs_value would take 4 KiB for each.
  std::map<std::string, std::string> settings, loaded;  ///< now, and in the file
};

}  // namespace kvs
