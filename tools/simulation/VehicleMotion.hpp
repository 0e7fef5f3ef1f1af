#pragma once

#include <array>
#include <cstddef>

#include "logfile/ApiCall.hpp"
#include "simulation/Vector3.hpp"

namespace simulation {

/// How a simulated quadcopter moves under the calls it receives. Positions and velocities are in the
/// ground's frame, in metres and seconds, with the take-off point as the origin.
class VehicleMotion {
 public:
  static constexpr double GRAVITY = 9.80665;  ///< m/s^2

  /// Obeys a call; those that don't move the vehicle are ignored.
  void call(const ApiCall& call);

  /// Moves on by `seconds` (more than 0, at most 1), in steps as short as the controller needs.
  void advance(double seconds);

  /// Metres above the take-off point, never below 0.
  double height() const { return -position.z; }
  /// Speed of motor 0 to 3 as a share of its speed in hovering; 0 when it stands still.
  double motorLevel(std::size_t motor) const { return motorLevels[motor]; }

  Vector3 position;
  Vector3 velocity;
  Vector3 acceleration;   ///< in the ground's frame, without gravity
  Vector3 angularRate;    ///< mean of the last advance(), in the body's frame, rad/s
  Vector3 specificForce;  ///< in the body's frame, m/s^2: what an accelerometer feels
  BodyAxes axes;
  double yaw = 0.0;  ///< rad from north, clockwise, within half a turn to either side

 private:
  enum class Phase { IDLE, CLIMBING, FLYING, LANDING };

  void move(double seconds);
  void turn(double seconds);
  void tilt();
  void spinMotors(double seconds);
  Vector3 wantedVelocity() const;

  Phase phase = Phase::IDLE;
  bool landed = true;  // the legs carry the vehicle
  bool armed = false;
  double wantedHeight = 0.0;       // m
  Vector3 velocitySetpoint;        // forward, right and down of the heading, m/s
  double wantedYawRate = 0.0;      // rad/s
  double yawRate = 0.0;            // rad/s
  Vector3 heading{1.0, 0.0, 0.0};  // horizontal unit vector
  double lift = 1.0;               // motor level that carries the vehicle; 1 in hovering
  std::array<double, 4> motorLevels{};
};

}  // namespace simulation
