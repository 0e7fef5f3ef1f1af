#include "ostrelLog/fleet/Digest.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <new>
#include <vector>

namespace logtool {

namespace {

constexpr std::size_t BUFFER_BYTES = std::size_t{1} << 18U;

}  // namespace

Digest::Digest() : state(XXH3_createState()) {
  if (!state) throw std::bad_alloc();
  XXH3_128bits_reset(state.get());
}

void Digest::add(const void* bytes, std::size_t count) {
  XXH3_128bits_update(state.get(), bytes, count);
}

void Digest::add(const std::string& text) {
  const std::uint64_t length = text.size();
  add(&length, sizeof(length));
  add(text.data(), text.size());
}

std::string Digest::hex() const {
  const XXH128_hash_t hash = XXH3_128bits_digest(state.get());
  char text[33];
  static_cast<void>(std::snprintf(text, sizeof(text), "%016llx%016llx",
                                  static_cast<unsigned long long>(hash.high64),
                                  static_cast<unsigned long long>(hash.low64)));
  return text;
}

int digestOfFile(const std::string& path, std::string& hex) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) return -errno;
  Digest digest;
  std::vector<unsigned char> buffer(BUFFER_BYTES);
  ssize_t count = 0;
  while ((count = read(file, buffer.data(), buffer.size())) > 0) {
    digest.add(buffer.data(), static_cast<std::size_t>(count));
  }
  const int result = count < 0 ? -errno : 0;
  close(file);
  if (result == 0) hex = digest.hex();
  return result;
}

}  // namespace logtool
