#include "settings_file.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <syslog.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "logservice/log.h"

namespace kvs {
namespace {

constexpr size_t maximumBytes = size_t{1} << 20;

bool isControl(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

std::string escape(const std::string& text) {
  constexpr const char* digits = "0123456789ABCDEF";
  std::string escaped;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool isOuterBlank = text[i] == ' ' && (i == 0 || i + 1 == text.size());
    if (isControl(text[i]) || text[i] == '%' || isOuterBlank) {
      const auto byte = static_cast<unsigned char>(text[i]);
      escaped += {'%', digits[byte >> 4], digits[byte & 15]};
    } else {
      escaped += text[i];
    }
  }
  return escaped;
}

/// The text that `escaped` stands for. What is no escape gives some other text.
std::string unescape(const std::string& escaped) {
  std::string text;
  for (size_t i = 0; i < escaped.size(); ++i) {
    if (escaped[i] == '%' && escaped.size() - i > 2) {
      unsigned char byte = 0;
      std::from_chars(&escaped[i + 1], &escaped[i + 1] + 2, byte, 16);
      text += static_cast<char>(byte);
      i += 2;
    } else {
      text += escaped[i];
    }
  }
  return text;
}

std::string formatLine(const std::string& key, const kvs_value& value) {
  switch (value.type) {
    case KVS_TYPE_BOOL: return "b " + key + (value.boolean ? " true" : " false");
    case KVS_TYPE_INT: return "i " + key + ' ' + std::to_string(value.integer);
    default: return "s " + key + (value.text[0] == '\0' ? "" : ' ' + escape(value.text));
  }
}

/// The key of a line that has the shape of a setting, else nothing.
std::string keyOf(const std::string& line) {
  if (line.size() < 3 || line[1] != ' ') return {};
  return line.substr(2, line.find_first_of(" \r", 2) - 2);
}

/// Reads the value of a line without its line end, whose key is `key`. Only what formatLine() writes is a
/// setting, so that putting a value back always gives the line that was there.
bool parseLine(const std::string& line, const std::string& key, kvs_value& value) {
  const std::string rest = line.size() > key.size() + 3 ? line.substr(key.size() + 3) : "";
  if (line[0] == 's') {
    const std::string text = unescape(rest);
    if (text.size() >= sizeof(value.text)) return false;
    value.type = KVS_TYPE_STRING;
    std::memcpy(value.text, text.c_str(), text.size() + 1);
  } else if (line[0] == 'b') {
    value.type = KVS_TYPE_BOOL;
    value.boolean = rest == "true";
  } else {
    value.type = KVS_TYPE_INT;
    value.integer = 0;
    std::from_chars(rest.data(), rest.data() + rest.size(), value.integer);
  }
  return isKey(key) && formatLine(key, value) == line;
}

/// The line without the carriage return that belongs to its end.
std::string withoutLineEnd(const std::string& line) {
  return !line.empty() && line.back() == '\r' ? line.substr(0, line.size() - 1) : line;
}

/// Whether `line` sets `key`; its value then.
bool readSetting(const std::string& line, const std::string& key, kvs_value& value) {
  return keyOf(line) == key && parseLine(withoutLineEnd(line), key, value);
}

bool isComment(const std::string& line) {
  const size_t start = line.find_first_not_of(" \t\r");
  return start == std::string::npos || line[start] == '#';
}

std::vector<std::string> split(const std::string& bytes) {
  std::vector<std::string> lines(1);
  for (const char c : bytes) {
    if (c == '\n') {
      lines.emplace_back();
    } else {
      lines.back() += c;
    }
  }
  return lines;
}

std::string join(const std::vector<std::string>& lines) {
  std::string bytes;
  for (const std::string& line : lines) {
    if (&line != lines.data()) bytes += '\n';
    bytes += line;
  }
  return bytes;
}

int writeAll(int fd, const std::string& bytes) {
  for (size_t done = 0; done < bytes.size();) {
    const ssize_t written = write(fd, &bytes[done], bytes.size() - done);
    if (written < 0 && errno != EINTR) return -errno;
    if (written > 0) done += static_cast<size_t>(written);
  }
  return 0;
}

}  // namespace

int UniqueFd::close() {
  const int closing = std::exchange(fd, -1);
  return closing >= 0 && ::close(closing) != 0 ? -errno : 0;
}

bool isKey(const std::string& key) {
  return !key.empty() &&
         std::none_of(key.begin(), key.end(), [](char c) { return isControl(c) || c == ' '; });
}

SettingsFile::SettingsFile(std::string filePath) : path(std::move(filePath)), temporary(path + ".tmp") {}

std::unique_ptr<SettingsFile> SettingsFile::open(const std::string& name) {
  if (name.empty()) return std::unique_ptr<SettingsFile>(new SettingsFile({}));

  // From the root and without links: the working directory may change, a link stays one when the file that
  // it names is replaced, and two names of one file share its lock.
  std::error_code failure;
  std::filesystem::path resolved = std::filesystem::absolute(name, failure);
  if (!failure) resolved = std::filesystem::weakly_canonical(resolved, failure);
  std::unique_ptr<SettingsFile> file(new SettingsFile(failure ? name : resolved.string()));

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
  file->reportDamage();
  return file;
}

SettingsFile::~SettingsFile() {
  if (lock.get() < 0) return;
  if (const std::string bytes = join(lines); bytes != stored) {
    if (const int result = replaceFile(bytes); result < 0) {
      log_print("kvs", LOG_ERR, "Can't write settings file %s, its settings stay as they were: %s",
                path.c_str(), strerror(-result));
    }
  }
  // Before the lock is dropped: whoever gets it now sees that the file it has locked is gone.
  unlink((path + ".lock").c_str());
}

int SettingsFile::takeLock() {
  const std::string lockPath = path + ".lock";
  for (int attempt = 0; attempt < 8; ++attempt) {
    UniqueFd opened(::open(lockPath.c_str(), O_RDONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0666));
    if (opened.get() < 0 || flock(opened.get(), LOCK_EX | LOCK_NB) != 0) return -errno;

    // The former holder may have removed the file between our opening and our locking it; then its name is
    // free for a third process, and the lock is worth nothing.
    struct stat locked {};
    struct stat named {};
    if (fstat(opened.get(), &locked) != 0) return -errno;
    if (stat(lockPath.c_str(), &named) == 0 && named.st_ino == locked.st_ino &&
        named.st_dev == locked.st_dev) {
      lock = std::move(opened);
      return 0;
    }
  }
  return -EWOULDBLOCK;
}

int SettingsFile::load() {
  // Non-blocking, so that a named pipe doesn't hold up the start. What is still a link leads nowhere: a
  // write would put a file in its place.
  const UniqueFd file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
  if (file.get() < 0) return errno == ENOENT ? 0 : -errno;
  struct stat status {};
  if (fstat(file.get(), &status) != 0) return -errno;
  if (S_ISDIR(status.st_mode)) return -EISDIR;
  if (!S_ISREG(status.st_mode)) return -EINVAL;

  std::string bytes;
  std::array<char, 4096> part{};
  ssize_t count = 0;
  while ((count = read(file.get(), part.data(), part.size())) != 0) {
    if (count < 0 && errno != EINTR) return -errno;
    if (count > 0) bytes.append(part.data(), static_cast<size_t>(count));
    if (bytes.size() > maximumBytes) return -EFBIG;
  }
  lines = split(bytes);
  stored = std::move(bytes);
  return 0;
}

void SettingsFile::reportDamage() const {
  size_t firstLine = 0;
  size_t count = 0;
  kvs_value ignored;
  for (size_t i = 0; i < lines.size(); ++i) {
    if (isComment(lines[i]) || readSetting(lines[i], keyOf(lines[i]), ignored)) continue;
    if (count++ == 0) firstLine = i + 1;
  }
  if (count > 0) {
    log_print("kvs", LOG_WARNING, "Settings file %s, line %zu: not a setting, ignored (%zu such lines)",
              path.c_str(), firstLine, count);
  }
}

bool SettingsFile::get(const std::string& key, kvs_value& value) const {
  return std::any_of(lines.rbegin(), lines.rend(),
                     [&](const std::string& line) { return readSetting(line, key, value); });
}

int SettingsFile::set(const std::string& key, const kvs_value& value) {
  std::vector<std::string> updated = lines;
  kvs_value ignored;
  const auto setsKey = [&](const std::string& line) { return readSetting(line, key, ignored); };

  if (value.type == KVS_TYPE_NONE) {
    updated.erase(std::remove_if(updated.begin(), updated.end(), setsKey), updated.end());
  } else if (const auto last = std::find_if(updated.rbegin(), updated.rend(), setsKey);
             last != updated.rend()) {
    *last = formatLine(key, value) + (last->back() == '\r' ? "\r" : "");
  } else {
    // Before the empty line that a final line feed leaves, or after a last line that has none: either way
    // removing the setting gives the file that was there.
    const bool endsInLineFeed = !updated.empty() && updated.back().empty();
    updated.insert(updated.end() - (endsInLineFeed ? 1 : 0), formatLine(key, value));
  }
  if (join(updated).size() > maximumBytes) return -EFBIG;
  lines = std::move(updated);
  return 0;
}

int SettingsFile::replaceFile(const std::string& bytes) const {
  int result = writeTemporary(bytes);
  if (result == 0 && rename(temporary.c_str(), path.c_str()) != 0) result = -errno;
  if (result < 0) unlink(temporary.c_str());
  return result;
}

int SettingsFile::writeTemporary(const std::string& bytes) const {
  UniqueFd file(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0666));
  if (file.get() < 0) return -errno;

  // The owner first: changing it may drop bits of the mode.
  struct stat old {};
  if (stat(path.c_str(), &old) == 0 &&
      (fchown(file.get(), old.st_uid, old.st_gid) != 0 || fchmod(file.get(), old.st_mode & 07777) != 0)) {
    return -errno;
  }
  if (const int result = writeAll(file.get(), bytes); result < 0) return result;
  if (fsync(file.get()) != 0) return -errno;
  return file.close();
}

}  // namespace kvs
