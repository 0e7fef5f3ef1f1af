#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

/// The type of one telemetry variable, as blackbox logs number it.
enum tlm_var_type : std::uint32_t {
  TLM_VAR_BOOL = 0,
  TLM_VAR_UINT8 = 1,
  TLM_VAR_INT8 = 2,
  TLM_VAR_UINT16 = 3,
  TLM_VAR_INT16 = 4,
  TLM_VAR_UINT32 = 5,
  TLM_VAR_INT32 = 6,
  TLM_VAR_UINT64 = 7,
  TLM_VAR_INT64 = 8,
  TLM_VAR_FLOAT = 9,
  TLM_VAR_DOUBLE = 10,
};

namespace telemetry {
namespace internal {

/// Collects the variables that a producer publishes.
class Registrator {
 public:
  /// One registered variable. The storage stays the owner's and must outlive the registrator.
  struct Variable {
    const void* address;
    std::string name;
    tlm_var_type type;
    std::size_t elementBytes;
    std::size_t count;
  };

  /// Registers the variable at `address` for publication in `section`.
  ///
  /// `elementBytes` and `count` describe an array (1 for a scalar); `flags`, `timestamp` and
  /// `timestampCount` are kept for variables that carry their own time stamps, which none here does.
  ///
  ///   0         registered
  ///   -EINVAL   null address, empty name, or no bytes to publish
  ///   -EEXIST   a variable of that name is registered already; it stays as it was
  int regInternal(void* address, const std::string& section, const std::string& name, tlm_var_type type,
                  unsigned long elementBytes, unsigned long count, unsigned int flags, timespec* timestamp,
                  unsigned long timestampCount);

  const std::vector<Variable>& variables() const { return registered; }

 private:
  std::vector<Variable> registered;
};

}  // namespace internal

/// Publishes the registered variables, sample by sample, under one section name.
class Producer : public internal::Registrator {
 public:
  explicit Producer(std::string sectionName) : section(std::move(sectionName)) {}

  const std::string section;  ///< name of the section that the variables belong to
};

}  // namespace telemetry
