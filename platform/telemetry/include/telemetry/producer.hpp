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

  /// Size of one sample: the values of all variables back to back, in the order of their registration.
  std::size_t sampleBytes() const { return totalBytes; }

  /// Writes one sample of the variables' present values: sampleBytes() bytes at `sample`.
  void pack(void* sample) const;

 private:
  /// Adjacent bytes of variables that were registered one after another. They are copied at once: copying
  /// values of four bytes one by one took most of a step's time.
  struct Run {
    const unsigned char* first;
    std::size_t bytes;
  };

  std::vector<Variable> registered;
  std::vector<Run> runs;
  std::size_t totalBytes = 0;
};

}  // namespace internal

/// Publishes the registered variables, sample by sample, under one section name.
///
/// The producer only gathers values. Who logs them describes the section once with descriptions() and takes
/// a sample with pack() at every step; a variable registered in between changes both.
class Producer : public internal::Registrator {
 public:
  explicit Producer(std::string sectionName) : section(std::move(sectionName)) {}

  const std::string section;  ///< name of the section that the variables belong to
};

}  // namespace telemetry
