#pragma once

#include <cstddef>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include "telemetry/var_desc.hpp"

namespace telemetry {
namespace internal {

/// Collects the variables that a producer publishes.
class Registrator {
 public:
  /// One registered variable. The storage stays the owner's and must outlive the registrator.
  struct Variable : VarDesc {
    const void* address;
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

  /// The variables in the order of their registration.
  const std::vector<Variable>& variables() const { return registered; }

  /// The same without their addresses: the description of a section that holds them.
  std::vector<VarDesc> descriptions() const { return {registered.begin(), registered.end()}; }

 private:
  std::vector<Variable> registered;
};

}  // namespace internal

/// Publishes the registered variables, sample by sample, under one section name.
///
/// The producer only knows what to publish. Who logs it describes the section once and then copies the
/// values at every step. Only regInternal() is a call of the library; so it can be replaced without the
/// logging service, which reads what is registered here.
class Producer : public internal::Registrator {
 public:
  explicit Producer(std::string sectionName) : section(std::move(sectionName)) {}

  const std::string section;  ///< name of the section that the variables belong to
};

}  // namespace telemetry
