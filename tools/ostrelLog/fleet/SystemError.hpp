#pragma once

#include <string>
#include <system_error>

namespace logtool {

/// Throws std::system_error: trouble of the machine, which ends a run. `error` is a positive errno value.
[[noreturn]] inline void fail(int error, const std::string& what) {
  throw std::system_error(error, std::generic_category(), what);
}

}  // namespace logtool
