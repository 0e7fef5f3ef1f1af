#include "settings_file.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "logservice/log.h"

namespace kvs {
namespace {

// Far above what any program sets; bounds the memory that a wrong file name costs.
constexpr ssize_t maximumBytes = 1 << 20;

bool isControl(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

std::string escape(const std::string& text) {
  std::string escaped;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool isOuterBlank = text[i] == ' ' && (i == 0 || i + 1 == text.size());
    const bool isPlain = !isControl(text[i]) && text[i] != '%' && !isOuterBlank;
    char code[4] = {text[i]};
    if (!isPlain) std::snprintf(code, sizeof(code), "%%%02X", static_cast<unsigned char>(text[i]));
    escaped += code;
  }
  return escaped;
}

/// The text that escape() made `escaped` of; any text when it did not.
std::string unescape(const std::string& escaped) {
  std::string text;
  for (size_t i = 0; i < escaped.size(); ++i) {
    const bool isCode = escaped[i] == '%';
    const long code = isCode ? std::strtol(escaped.substr(i + 1, 2).c_str(), nullptr, 16) : escaped[i];
    text += static_cast<char>(code);
    if (isCode) i += 2;
  }
  return text;
}

std::string encode(const kvs_value& value) {
  switch (value.type) {
    case KVS_TYPE_BOOL: return value.boolean ? "b true" : "b false";
    case KVS_TYPE_INT: return "i " + std::to_string(value.integer);
    default: return value.text[0] == '\0' ? "s" : "s " + escape(value.text);
  }
}

/// Reads what encode() has written; false for anything else.
bool decode(const std::string& encoded, kvs_value& value) {
  value = {};
  const std::string content = encoded.size() > 2 ? encoded.substr(2) : "";
  if (encoded[0] == 's') {
    const std::string text = unescape(content);
    if (text.size() >= sizeof(value.text)) return false;
    value.type = KVS_TYPE_STRING;
    text.copy(value.text, text.size());
  } else if (encoded[0] == 'b') {
    value.type = KVS_TYPE_BOOL;
    value.boolean = content == "true";
  } else {
    value.type = KVS_TYPE_INT;
    std::from_chars(content.data(), content.data() + content.size(), value.integer);
  }
  // One comparison refuses every other way to write a value: wrong letters, leading zeros, bad escapes.
  return encode(value) == encoded;
}

std::string format(const std::map<std::string, std::string>& settings) {
  std::string bytes;
  for (const auto& [key, encoded] : settings)
    bytes += encoded.substr(0, 1) + " " + key + encoded.substr(1) + "\n";
  return bytes;
}

/// Makes `temporary` a file of these bytes, on the disk, with the owner and mode of the file at `path`.
int writeTemporary(const std::string& temporary, const std::string& path, const std::string& bytes) {
  // Emptied, because a killed process may have left one behind.
  const UniqueFd file(
      ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0666));
  if (file.fd < 0) return -errno;
  // The owner first: changing it may drop bits of the mode.
  struct stat old {};
  if (stat(path.c_str(), &old) == 0 &&
      (fchown(file.fd, old.st_uid, old.st_gid) != 0 || fchmod(file.fd, old.st_mode & 07777) != 0)) {
    return -errno;
  }
  for (size_t done = 0; done < bytes.size();) {
    const ssize_t written = write(file.fd, &bytes[done], bytes.size() - done);
    if (written < 0 && errno != EINTR) return -errno;
    if (written > 0) done += static_cast<size_t>(written);
  }
  return fsync(file.fd) == 0 ? 0 : -errno;
}

/// Gives the file other bytes by a rename, so that a crash at any moment leaves the old file or the new
/// one.
int replaceFile(const std::string& path, const std::string& bytes) {
  const std::string temporary = path + ".tmp";  // beside it: a rename works within one file system only
  int result = writeTemporary(temporary, path, bytes);
  if (result == 0 && rename(temporary.c_str(), path.c_str()) != 0) result = -errno;
  if (result < 0) unlink(temporary.c_str());
  return result;
}

}  // namespace

bool isKey(const std::string& key) {
  return !key.empty() &&
         std::none_of(key.begin(), key.end(), [](char c) { return isControl(c) || c == ' '; });
}

std::unique_ptr<SettingsFile> SettingsFile::open(const std::string& name) {
  std::unique_ptr<SettingsFile> file(new SettingsFile);
  if (name.empty()) return file;

  // From the root and without links: the working directory may change, a link must stay one when the file
  // that it names is replaced, and two names of one file must share its lock.
  std::error_code failure;
  const auto resolved =
      std::filesystem::weakly_canonical(std::filesystem::absolute(name, failure), failure);
  file->path = failure ? name : resolved.string();

  int result = file->takeLock();
  if (result == -EWOULDBLOCK) {
    log_print("kvs", LOG_ERR, "Settings file %s is in use by another process", name.c_str());
    return nullptr;
  }
  if (result == 0) result = file->load();
  if (result < 0) {
    log_print("kvs", LOG_ERR, "Can't open settings file %s: %s", name.c_str(), strerror(-result));
    return nullptr;
  }
  return file;
}

SettingsFile::~SettingsFile() {
  if (lock == nullptr) return;
  const int result = settings != loaded ? replaceFile(path, format(settings)) : 0;
  if (result < 0) {
    log_print("kvs", LOG_ERR, "Can't write settings file %s, its settings stay as they were: %s",
              path.c_str(), strerror(-result));
  }
  // While the lock is still held: a process that gets the lock later sees that its file is gone.
  unlink((path + ".lock").c_str());
}

int SettingsFile::takeLock() {
  const std::string lockPath = path + ".lock";
  auto opened = std::make_unique<UniqueFd>(
      ::open(lockPath.c_str(), O_RDONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0666));
  if (opened->fd < 0 || flock(opened->fd, LOCK_EX | LOCK_NB) != 0) return -errno;

  // The former holder may have removed the file between our opening and our locking it. Another process
  // could then make and lock a new file of that name, so this lock is worth nothing.
  struct stat status {};
  if (fstat(opened->fd, &status) != 0) return -errno;
  if (status.st_nlink == 0) return -EWOULDBLOCK;
  lock = std::move(opened);
  return 0;
}

int SettingsFile::load() {
  // Non-blocking, so that a named pipe doesn't hold up the start. A path that is still a link leads
  // nowhere; it is refused, since saving would replace the link.
  const UniqueFd file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
  if (file.fd < 0) return errno == ENOENT ? 0 : -errno;
  struct stat status {};
  if (fstat(file.fd, &status) != 0) return -errno;
  if (!S_ISREG(status.st_mode)) return S_ISDIR(status.st_mode) ? -EISDIR : -EINVAL;
  if (status.st_size > maximumBytes) return -EFBIG;

  std::string bytes(static_cast<size_t>(status.st_size), '\0');
  const ssize_t count = read(file.fd, bytes.data(), bytes.size());
  // A part of the settings would be saved as all of them.
  if (count != status.st_size) return count < 0 ? -errno : -EIO;
  parse(bytes);
  settings = loaded;
  return 0;
}

void SettingsFile::parse(const std::string& bytes) {
  std::istringstream lines(bytes);
  size_t lineNumber = 0, damaged = 0, firstDamaged = 0;
  kvs_value ignored;
  for (std::string line; std::getline(lines, line);) {
    ++lineNumber;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    const size_t start = line.find_first_not_of(" \t\r");
    if (start == std::string::npos || line[start] == '#') continue;

    const size_t keyEnd = std::min(line.find(' ', 2), line.size());
    const std::string key = line.size() > 2 && line[1] == ' ' ? line.substr(2, keyEnd - 2) : "";
    const std::string encoded = line[0] + line.substr(keyEnd);
    if (isKey(key) && decode(encoded, ignored))
      loaded[key] = encoded;
    else if (++damaged == 1)
      firstDamaged = lineNumber;
  }
  if (damaged > 0) {
    log_print("kvs", LOG_WARNING, "Settings file %s, line %zu: not a setting, ignored (%zu such lines)",
              path.c_str(), firstDamaged, damaged);
  }
}

bool SettingsFile::get(const std::string& key, kvs_value& value) const {
  value = {};
  const auto found = settings.find(key);
  return found != settings.end() && decode(found->second, value);
}

int SettingsFile::set(const std::string& key, const kvs_value& value) {
  auto changed = settings;
  changed.erase(key);
  if (value.type != KVS_TYPE_NONE) changed[key] = encode(value);
  if (format(changed).size() > size_t{maximumBytes}) return -EFBIG;
  settings = std::move(changed);
  return 0;
}

}  // namespace kvs
