#include <array>
#include <cerrno>

#include "Support.hpp"
#include "sysprop/sys_prop.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  setenv("SYS_PROP_FILE", inputFile(bytes, size).c_str(), 1);
  std::vector<std::string> keys = likelyKeys(bytes, size);
  keys.emplace_back("ro.hardware");
  for (const std::string& key : keys) {
    std::array<char, SYS_PROP_VALUE_MAX> value;
    value.fill('?');
    const int result = sys_prop_get(key.c_str(), value.data(), "default");
    REQUIRE(std::memchr(value.data(), '\0', value.size()) != nullptr);
    if (result >= 0) {
      REQUIRE(std::strlen(value.data()) == static_cast<std::size_t>(result));
    } else {
      REQUIRE(result == -EMSGSIZE || result == -EILSEQ || (result == -EINVAL && key.c_str()[0] == '\0'));
      REQUIRE(std::strcmp(value.data(), "default") == 0);
    }
  }
  return 0;
}
