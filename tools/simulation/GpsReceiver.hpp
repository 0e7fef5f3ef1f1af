#pragma once

#include <cstdint>

#include "registry/SensorRecords.hpp"
#include "simulation/Noise.hpp"
#include "simulation/Vector3.hpp"
#include "simulation/VehicleMotion.hpp"

namespace simulation {

/// A GPS receiver, whose position is off by a slowly wandering error.
class GpsReceiver {
 public:
  /// Draws the error that the receiver starts with.
  void switchOn(Noise& noise);

  /// Writes a new fix of the vehicle's position and velocity. `timestamp` is in milliseconds since 1970.
  void fix(const VehicleMotion& motion, std::uint64_t timestamp, Noise& noise, sensor_gps_data& gps);

 private:
  Vector3 positionError;  // m
  double satellites = 13.0;
  // What the receiver itself reports about its errors.
  double horizontalError = 0.6;  // m
  double verticalError = 1.0;    // m
  double velocityError = 0.15;   // m/s
};

}  // namespace simulation
