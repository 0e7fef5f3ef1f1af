#include "sysprop/sys_prop.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

namespace {

// Bounds the memory that a wrong file name costs.
constexpr std::size_t MAX_FILE_BYTES = std::size_t{1} << 20U;

// Appends what `file` holds to `text`. 0, or a negated errno.
int readAll(int file, std::string& text) {
  std::array<char, 4096> block;
  for (;;) {
    const ssize_t count = read(file, block.data(), block.size());
    if (count == 0) return 0;
    if (count < 0) {
      if (errno == EINTR) continue;
      return -errno;
    }
    text.append(block.data(), static_cast<std::size_t>(count));
    if (text.size() > MAX_FILE_BYTES) return -EFBIG;
  }
}

// Reads the property file, if there is one, into `text`. 0, or a negated errno.
int readStore(std::string& text) {
  const char* const path = std::getenv("SYS_PROP_FILE");
  if (path == nullptr) return 0;
  // Non-blocking, so that a pipe without a writer doesn't hold the caller up: it reads as an empty file.
  const int file = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  // A missing store is an empty one.
  if (file < 0) return errno == ENOENT || errno == ENOTDIR ? 0 : -errno;
  const int result = readAll(file, text);
  close(file);
  return result;
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view whiteSpace = " \t\n\v\f\r";
  const std::size_t first = text.find_first_not_of(whiteSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(whiteSpace) - first + 1);
}

// The value of the last line of `key`.
std::optional<std::string_view> lookUp(std::string_view store, std::string_view key) {
  std::optional<std::string_view> value;
  while (!store.empty()) {
    const std::size_t lineEnd = store.find('\n');
    const std::string_view line = trimmed(store.substr(0, lineEnd));
    store.remove_prefix(lineEnd == std::string_view::npos ? store.size() : lineEnd + 1);
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos || line.front() == '#') continue;
    if (trimmed(line.substr(0, equals)) == key) value = trimmed(line.substr(equals + 1));
  }
  return value;
}

// Stores `text` in a value buffer: its length, or a negated errno with the buffer left as it was.
int store(std::string_view text, char* value) {
  if (text.size() >= SYS_PROP_VALUE_MAX) return -EMSGSIZE;
  // The caller gets a C string, which would end at the NUL.
  if (text.find('\0') != std::string_view::npos) return -EILSEQ;
  value[text.copy(value, text.size())] = '\0';
  return static_cast<int>(text.size());
}

}  // namespace

int sys_prop_get(const char* key, char* value, const char* default_value) {
  if (value == nullptr) return -EINVAL;
  value[0] = '\0';
  // Before anything can fail, so that every failure leaves the default in the buffer.
  const int defaultLength = store(default_value != nullptr ? default_value : "", value);
  if (key == nullptr || *key == '\0') return -EINVAL;

  std::string text;
  const int result = readStore(text);
  if (result < 0) return result;
  const std::optional<std::string_view> found = lookUp(text, key);
  return found ? store(*found, value) : defaultLength;
}
