#include "simulation/VehicleMotion.hpp"

#include <algorithm>
#include <cmath>

namespace simulation {

namespace {

constexpr double LONGEST_STEP = 0.002;           // s, far below every lag of the controller
constexpr double HALF_TURN = 3.141592653589793;  // rad

// A small quadcopter that is flown gently.
constexpr double CLIMB_SPEED = 2.5;         // m/s
constexpr double DESCENT_SPEED = 2.5;       // m/s
constexpr double TOUCH_DOWN_SPEED = 0.4;    // m/s
constexpr double LARGEST_ACCELERATION = 4;  // m/s^2
constexpr double DRAG = 0.15;               // m/s^2 for each m/s

// Gains and lags of the controller, in 1/s: the inverse of the time that each one takes to settle. The
// inner loops are faster than those around them, which keeps the whole stable.
constexpr double HEIGHT_GAIN = 1.2;
constexpr double LANDING_GAIN = 0.9;
constexpr double VELOCITY_GAIN = 2.0;
constexpr double ACCELERATION_LAG = 6.0;
constexpr double YAW_LAG = 5.0;
constexpr double MOTOR_LAG = 12.0;

// Motor levels are shares of the speed in hovering. Mixing gives each motor a small part of the turning,
// enough to show in its measured speed; the vehicle turns without it.
constexpr double IDLE_LEVEL = 0.3;
constexpr double MIXING = 0.03;  // motor level for each rad/s

/// The vector, shortened to `longest` where it is longer, in the same direction.
Vector3 limited(const Vector3& vector, double longest) {
  const double size = length(vector);
  return size > longest ? vector * (longest / size) : vector;
}

}  // namespace

void VehicleMotion::call(const ApiCall& call) {
  if (call.api == "set_motors_armed") {
    armed = call.value("armed") != 0.0;
  } else if (call.api == "take_off") {
    phase = Phase::CLIMBING;
    wantedHeight = call.value("altitude");
  } else if (call.api == "set_velocity") {
    phase = Phase::FLYING;
    velocitySetpoint = {call.value("vx"), call.value("vy"), call.value("vz")};
    wantedYawRate = call.value("yaw_rate");
  } else if (call.api == "land") {
    phase = Phase::LANDING;
    wantedYawRate = 0.0;
  }
}

void VehicleMotion::advance(double seconds) {
  const BodyAxes before = axes;
  // Equal pieces, so that the last one ends exactly after `seconds`.
  const int pieces = static_cast<int>(std::ceil(seconds / LONGEST_STEP));
  for (int piece = 0; piece < pieces; ++piece) {
    move(seconds / pieces);
    turn(seconds / pieces);
  }
  // Once for all pieces: the axes follow from the present motion, not from the axes before.
  tilt();
  // The rate around an axis shows in both other axes; their mean cancels the error of second order.
  angularRate = Vector3{dot(axes.right, before.down) - dot(axes.down, before.right),
                        dot(axes.down, before.forward) - dot(axes.forward, before.down),
                        dot(axes.forward, before.right) - dot(axes.right, before.forward)} *
                (0.5 / seconds);
  spinMotors(seconds);
}

Vector3 VehicleMotion::wantedVelocity() const {
  if (phase == Phase::LANDING) {
    // Slower towards the ground, but never so slow that it would not arrive.
    return {0.0, 0.0, std::clamp(LANDING_GAIN * height(), TOUCH_DOWN_SPEED, DESCENT_SPEED)};
  }
  const double climb = std::clamp(HEIGHT_GAIN * (wantedHeight - height()), -DESCENT_SPEED, CLIMB_SPEED);
  if (phase != Phase::FLYING) return {0.0, 0.0, -climb};
  // The vertical setpoint acts through the wanted height, which move() shifts by it.
  const Vector3 right{-heading.y, heading.x, 0.0};
  return heading * velocitySetpoint.x + right * velocitySetpoint.y + Vector3{0.0, 0.0, -climb};
}

void VehicleMotion::move(double seconds) {
  if (armed && (phase == Phase::CLIMBING || phase == Phase::FLYING)) landed = false;
  Vector3 wantedAcceleration;
  if (!landed) {
    if (phase == Phase::FLYING) wantedHeight -= velocitySetpoint.z * seconds;
    wantedAcceleration = limited((wantedVelocity() - velocity) * VELOCITY_GAIN, LARGEST_ACCELERATION);
    velocity = velocity + acceleration * seconds;
    position = position + velocity * seconds;
    // z points down, so the ground is the largest z. Only a landing ends there: a vehicle that is flown
    // into the ground slides along it.
    if (position.z >= 0.0) {
      position.z = 0.0;
      velocity.z = std::min(velocity.z, 0.0);
      landed = phase == Phase::LANDING;
    }
  }
  if (landed) velocity = {};
  // The acceleration lags behind, even on the ground: the tilt follows from it and must never jump.
  acceleration = acceleration + (wantedAcceleration - acceleration) * (ACCELERATION_LAG * seconds);
}

void VehicleMotion::turn(double seconds) {
  const double wantedRate = landed ? 0.0 : wantedYawRate;
  yawRate += (wantedRate - yawRate) * (YAW_LAG * seconds);
  const double angle = yawRate * seconds;
  // Rotates by twice the arc tangent of half the angle, which for such small angles is the angle itself.
  // Machines round sine and cosine differently; this needs neither.
  const double half = 0.5 * angle;
  const double scale = 1.0 / (1.0 + half * half);
  const double cosine = (1.0 - half * half) * scale;
  const double sine = 2.0 * half * scale;
  heading = unit({heading.x * cosine - heading.y * sine, heading.x * sine + heading.y * cosine, 0.0});
  // Only reported: the motion itself uses the heading, which needs no wrapping.
  yaw += angle;
  if (yaw > HALF_TURN) yaw -= 2.0 * HALF_TURN;
  if (yaw < -HALF_TURN) yaw += 2.0 * HALF_TURN;
}

void VehicleMotion::tilt() {
  const Vector3 force = acceleration - Vector3{0.0, 0.0, GRAVITY};
  // The rotors push along the body's axis and provide all of the force but the drag. They always carry a
  // load, because the acceleration's limit lies well below gravity.
  const Vector3 thrust = force + velocity * DRAG;
  axes.down = unit(thrust * -1.0);
  // The nose points along the heading as far as the tilt allows.
  axes.right = unit(cross(axes.down, heading));
  axes.forward = cross(axes.right, axes.down);
  specificForce = axes.toBody(force);
  // The thrust of a rotor grows with the square of its speed.
  lift = std::sqrt(length(thrust) / GRAVITY);
}

void VehicleMotion::spinMotors(double seconds) {
  // Front left, front right, rear right, rear left: the share of roll, pitch and yaw in each one's speed.
  constexpr std::array<Vector3, 4> mixers = {
      {{1.0, 1.0, 1.0}, {-1.0, 1.0, -1.0}, {-1.0, -1.0, 1.0}, {1.0, -1.0, -1.0}}};
  for (std::size_t motor = 0; motor < mixers.size(); ++motor) {
    double wanted = 0.0;
    if (armed) wanted = landed ? IDLE_LEVEL : lift + MIXING * dot(mixers[motor], angularRate);
    double& level = motorLevels[motor];
    // At 1 or 2 steps a second, the step exceeds the time that a motor
    // needs: the limit keeps the level from overshooting.
    level += (wanted - level) * std::min(1.0, MOTOR_LAG * seconds);
    if (wanted == 0.0 && level < 0.02) level = 0.0;  // friction stops it
  }
}

}  // namespace simulation
