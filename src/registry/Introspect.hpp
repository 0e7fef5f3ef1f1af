#pragma once

#include <string>
#include <type_traits>

#include "registry/DataRegistry.hpp"
#include "registry/SensorRecords.hpp"

/// Registers the leaf fields that an introspect() function hands it, names unchanged.
///
/// The owner of a record keeps one, bound to its sensor registry, for as long as that registry lives.
class Registrator {
 public:
  explicit Registrator(DataRegistry& targetRegistry) : registry(&targetRegistry) {}

  template <class T>
  void add(const std::string& name, T& field) {
    registry->reg<T>(name, &field);
  }

 private:
  DataRegistry* registry;  // borrowed
};

/// Registers every leaf field of `record`, under dotted names that begin with `name`; array elements carry
/// their index in square brackets ("imu.gyro[2].y"). The entries keep addresses inside `record`, which must
/// therefore stay where it is and outlive the registry. Never takes a const record: the entries write to
/// it.
template <class T, class Visitor>
std::enable_if_t<!std::is_const_v<T>> introspect(Visitor& registrator, T& record, const std::string& name);

// clang-format off
template <> void introspect<sensor_vector, Registrator>(Registrator&, sensor_vector&, const std::string&);
template <> void introspect<timespec, Registrator>(Registrator&, timespec&, const std::string&);
template <> void introspect<sensor_imu_data, Registrator>(Registrator&, sensor_imu_data&, const std::string&);
template <> void introspect<sensor_motors_data, Registrator>(Registrator&, sensor_motors_data&, const std::string&);
template <> void introspect<sensor_gps_data, Registrator>(Registrator&, sensor_gps_data&, const std::string&);
template <> void introspect<sensor_battery_data, Registrator>(Registrator&, sensor_battery_data&, const std::string&);
template <> void introspect<sensor_tof_data, Registrator>(Registrator&, sensor_tof_data&, const std::string&);
template <> void introspect<sensor_vision_position_data, Registrator>(Registrator&, sensor_vision_position_data&, const std::string&);
/// The whole record.
template <> void introspect<sensors_data, Registrator>(Registrator&, sensors_data&, const std::string&);
// clang-format on
