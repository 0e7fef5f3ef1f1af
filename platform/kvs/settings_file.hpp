#pragma once

#include <unistd.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kvs/kvs.h"

namespace kvs {

/// An open file descriptor, closed with its owner; negative when there is none.
class UniqueFd {
 public:
  explicit UniqueFd(int openFd = -1) : fd(openFd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    std::swap(fd, other.fd);
    return *this;
  }
  ~UniqueFd() { static_cast<void>(close()); }

  int get() const { return fd; }

  /// Closes now: 0, or a negated errno when what was written may be lost.
  int close();

 private:
  int fd;
};

/// Whether `key` can name a setting: not empty, no blanks, no control characters.
bool isKey(const std::string& key);

/// The settings of one text file, or of memory alone, held as the file's lines.
///
/// One setting a line, by the letter of its type, its key and its value, single blanks between them:
///
///   s tlm-blackbox.logdir /data/flights   a text; control characters, '%' and a blank at either end are
///                                         written %XX (upper-case hexadecimal), the empty text as nothing
///   b tlm-blackbox.enabled true           true or false
///   i tlm-blackbox.flushperiod 1          a decimal int, without plus sign or leading zeros
///
/// A blank line, or one that begins with '#', blanks before it allowed, is a comment. The last line of a
/// key wins. Everything that isn't written exactly so is damage: ignored, and kept as it stands. A set
/// changes its line in place, a new setting goes to the end, and line ends (LF or CR LF, none at the end of
/// the file) stay as they are.
///
/// The file is read once, and replaced once, at the end, when it is then to have other bytes. So a
/// process that borrows settings and is killed has borrowed nothing, and settings that are put back need no
/// disk to go back to. While it is open, "<file>.lock" lies beside it, its flock held; what a killed
/// process leaves of that blocks nobody, as the kernel drops the lock. "<file>.tmp" exists during the write
/// only; one that a killed process has left is written over.
class SettingsFile {
 public:
  /// Opens and locks the file `name`, which need not exist; an empty name gives settings in memory. Null,
  /// after an error line, when that fails.
  static std::unique_ptr<SettingsFile> open(const std::string& name);

  SettingsFile(const SettingsFile&) = delete;
  SettingsFile& operator=(const SettingsFile&) = delete;
  /// Replaces the file when its bytes have changed. A failure is an error line, and the file is the one
  /// that it was.
  ~SettingsFile();

  /// Reads a setting. False, and `value` undefined, when there is none.
  bool get(const std::string& key, kvs_value& value) const;

  /// Gives a setting a valid `value`, or removes it when that is empty. 0, or -EFBIG with the setting left
  /// as it was.
  int set(const std::string& key, const kvs_value& value);

 private:
  explicit SettingsFile(std::string filePath);

  int takeLock();
  int load();
  void reportDamage() const;
  int replaceFile(const std::string& bytes) const;
  int writeTemporary(const std::string& bytes) const;

  const std::string path;       ///< without links; empty for memory alone
  const std::string temporary;  ///< beside it, so that a rename can put it in its place
  std::string stored;           ///< the file's bytes; empty when there is none
  /// What is between line feeds: a file that ends in one ends in an empty line.
  std::vector<std::string> lines{""};
  UniqueFd lock;
};

}  // namespace kvs
