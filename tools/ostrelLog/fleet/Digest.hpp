#pragma once

#include <xxhash.h>

#include <cstddef>
#include <memory>
#include <string>

namespace logtool {

/// A 128-bit digest of bytes that come piece by piece. It tells contents apart that differ by chance, not
/// by malice: XXH3 is as fast as memory is.
class Digest {
 public:
  Digest();

  /// Adds bytes as they are.
  void add(const void* bytes, std::size_t count);
  /// Adds a text with its length, so that "ab" and "c" differ from "a" and "bc".
  void add(const std::string& text);

  /// The digest of everything so far: 32 hexadecimal digits.
  std::string hex() const;

 private:
  struct Free {
    void operator()(XXH3_state_t* unneeded) const { XXH3_freeState(unneeded); }
  };
  std::unique_ptr<XXH3_state_t, Free> state;
};

/// Reads a file to its end and puts its digest into `hex`. 0 or a negated errno.
int digestOfFile(const std::string& path, std::string& hex);

}  // namespace logtool
