#include "blackboxlog/sample_packer.hpp"

#include <cstring>

namespace blackboxlog {

SamplePacker::SamplePacker(const telemetry::Producer& producer) {
  for (const auto& variable : producer.variables()) {
    const std::size_t length = variable.elementBytes * variable.count;
    bytes += length;
    const auto* const first = static_cast<const unsigned char*>(variable.address);
    if (!runs.empty() && runs.back().first + runs.back().bytes == first) {
      runs.back().bytes += length;
    } else {
      runs.push_back({first, length});
    }
  }
}

void SamplePacker::pack(void* sample) const {
  auto* out = static_cast<unsigned char*>(sample);
  for (const Run& run : runs) {
    // In the order of registration, which is the order in which the section describes them.
    std::memcpy(out, run.first, run.bytes);
    out += run.bytes;
  }
}

}  // namespace blackboxlog
