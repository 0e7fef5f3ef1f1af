#pragma once

#include <array>
#include <cstddef>
#include <ctime>
#include <string>

#include "ostrel/data_manager.hpp"
#include "ostrel/follow_me.hpp"
#include "registry/SensorRecords.hpp"

namespace Dravon3 {

/// The estimator and flight state behind one library instance: fed with the API's calls and with one
/// sensor record a step.
///
/// Only additions, multiplications, divisions and square roots of doubles, in one order: the same calls and
/// sensors give the same bits on every machine. No sensor value is trusted: whatever the record holds,
/// attitude, position and speed stay finite. Set-points are kept as they were asked.
class Estimator {
 public:
  /// Notes that the API was called; precedes each of the calls below.
  void countCall();

  /// Disarming stops the motors, so it also ends the flight; arming ends an emergency.
  void setMotorsArmed(bool armed);
  /// Altitude in metres. Takes off only when landed and armed.
  void takeOff(float altitude);
  void land();
  /// Metres, and radians, per second.
  void setVelocity(float vx, float vy, float vz, float yawRate);
  /// Metres above mean sea level, degrees.
  void setHome(double amslAltitude, double latitude, double longitude);
  /// Stops the motors at once; only arming them again ends the emergency.
  void emergencyCut();
  /// Distance in metres.
  void setFollowMe(float distance, FOLLOW_ME_TRAJECTORY_TYPE trajectory);

  /// Runs one step over the memory image of a `sensors_data`, SENSOR_BYTES of any content. The result lives
  /// as long as the estimator.
  const estimator_outputs& step(const std::byte* sensors);

 private:
  using Vector = std::array<double, 3>;

  Vector down() const;
  double integrate(const sensor_imu_data& imu);
  void integrateSample(const Vector& rate, const Vector& force, double seconds);
  void correctHeight(double measured, double bandwidth, double seconds);
  void correctHeightByRange(float distance, double maximum, double seconds);
  void advanceState();

  estimator_outputs outputs{};
  std::array<double, 4> attitude = {1, 0, 0, 0};  // w, x, y, z
  double position = 0;                            // m, up
  double speed = 0;                               // m/s, up
  double groundPressure = 0;                      // Pa; 0 until the first plausible measure
  timespec lastSample{};
};

/// The running instance's estimator, null without an instance; owned by the instance.
Estimator* runningEstimator();

/// The hardware variant that the instance was last created for.
const std::string& runningVariant();

}  // namespace Dravon3
