#pragma once

#include <cstdint>

#include "registry/DataRegistry.hpp"
#include "registry/Introspect.hpp"

namespace logtool {

/// The sensors of one step, registered under the names that a replay gives them.
struct SensorColumns {
  SensorColumns() {
    // These are the names of the columns, by which a replay binds them to its own records.
    registry.reg<int>("index", &index);
    Registrator registrator(registry);
    introspect<sensors_data, Registrator>(registrator, sensors, "inputs.sensors");
    registry.freeze();
  }

  std::int32_t index = 0;
  sensors_data sensors{};
  DataRegistry registry;  ///< its entries point into the members above
};

}  // namespace logtool
