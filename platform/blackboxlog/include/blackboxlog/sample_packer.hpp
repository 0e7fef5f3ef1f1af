#pragma once

#include <cstddef>
#include <vector>

#include "telemetry/producer.hpp"

namespace blackboxlog {

/// Takes samples of the variables that a producer had when the packer was made. Their storage stays the
/// owner's and outlives the packer; the producer itself is not needed any more.
class SamplePacker {
 public:
  SamplePacker() = default;  ///< of no variables
  explicit SamplePacker(const telemetry::Producer& producer);

  /// Size of one sample: the values of all variables back to back, in the order of their registration.
  std::size_t size() const { return bytes; }

  /// Writes one sample of the variables' present values: size() bytes at `sample`.
  void pack(void* sample) const;

 private:
  /// Adjacent bytes of variables that were registered one after another. They are copied at once: copying
  /// values of four bytes one by one took most of a step's time.
  struct Run {
    const unsigned char* first;
    std::size_t bytes;
  };

  std::vector<Run> runs;
  std::size_t bytes = 0;
};

}  // namespace blackboxlog
