#include "estimator.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <type_traits>

namespace Dravon3 {

namespace {

// The record is logged and compared as raw bytes, so none of them may be padding.
static_assert(sizeof(estimator_outputs) == 96 && sizeof(sensors_data) == SENSOR_BYTES);

constexpr double GRAVITY = 9.80665;       // m/s^2
constexpr double PASCALS_PER_METRE = 12;  // near the ground
constexpr double STEP_SECONDS = 0.005;    // assumed when the samples don't tell
constexpr double LEVELLING = 1;           // rad/s for each unit of error

// Bandwidths in rad/s: how fast a height measure pulls the estimate.
constexpr double BARO_BANDWIDTH = 1;
constexpr double RANGE_BANDWIDTH = 3;

// Values beyond these come from damage, not from flight, and are left out or cut off.
constexpr double MAX_RATE = 60;    // rad/s
constexpr double MAX_FORCE = 500;  // m/s^2
constexpr double MAX_SAMPLE_SECONDS = 0.1;
constexpr double MAX_CORRECTION_SECONDS = 0.05;  // longer steps would overshoot
constexpr double MIN_PRESSURE = 10e3;            // Pa
constexpr double MAX_PRESSURE = 120e3;
constexpr double MAX_ULTRASOUND = 8;  // m
constexpr double MAX_TOF = 20;        // m
constexpr double MIN_DOWN = 0.7;      // cosine of the tilt up to which a range is a height
constexpr double MAX_POSITION = 10e3;
constexpr double MAX_SPEED = 200;

// A take-off or a landing is over this near to its aim, and a landing only when this slow.
constexpr double NEAR_METRES = 0.3;
constexpr double NEAR_SPEED = 0.5;

/// Copies a record out of the image. Not for records with a bool: most bytes are no value of one.
template <class Record>
Record load(const std::byte* sensors, std::size_t offset) {
  static_assert(std::is_trivially_copyable_v<Record>);
  Record record;
  std::memcpy(&record, sensors + offset, sizeof(record));
  return record;
}

// NaN fails every comparison, so it is in no range.
bool within(double value, double lowest, double highest) {
  return value >= lowest && value <= highest;
}

bool within(const sensor_vector& vector, double limit) {
  return within(vector.x, -limit, limit) && within(vector.y, -limit, limit) &&
         within(vector.z, -limit, limit);
}

double dot(const std::array<double, 3>& a, const std::array<double, 3>& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

/// The time from one sample to the next, or `otherwise` when the stamps don't advance plausibly.
double secondsBetween(const timespec& earlier, const timespec& later, double otherwise) {
  // Unsigned: damaged stamps may overflow, which is undefined for signed numbers.
  const auto nanoseconds = [](const timespec& time) {
    return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000 +
           static_cast<std::uint64_t>(time.tv_nsec);
  };
  const double gap = static_cast<double>(nanoseconds(later) - nanoseconds(earlier)) / 1e9;
  return gap > 0 && gap <= MAX_SAMPLE_SECONDS ? gap : otherwise;
}

// A counter stays at its highest value rather than overflow.
void count(std::int32_t& counter) {
  if (counter < std::numeric_limits<std::int32_t>::max()) ++counter;
}

}  // namespace

void Estimator::countCall() {
  count(outputs.call_count);
}

void Estimator::setMotorsArmed(bool armed) {
  // Arming and disarming both end an emergency.
  if (!armed || outputs.state == FLIGHT_STATE_EMERGENCY) outputs.state = FLIGHT_STATE_LANDED;
  outputs.armed = armed ? 1 : 0;
}

void Estimator::takeOff(float altitude) {
  outputs.take_off_altitude = altitude;
  if (outputs.armed != 0 && outputs.state == FLIGHT_STATE_LANDED) outputs.state = FLIGHT_STATE_TAKING_OFF;
}

void Estimator::land() {
  if (outputs.state == FLIGHT_STATE_TAKING_OFF || outputs.state == FLIGHT_STATE_FLYING) {
    outputs.state = FLIGHT_STATE_LANDING;
  }
}

void Estimator::setVelocity(float vx, float vy, float vz, float yawRate) {
  outputs.velocity_setpoint[0] = vx;
  outputs.velocity_setpoint[1] = vy;
  outputs.velocity_setpoint[2] = vz;
  outputs.yaw_rate_setpoint = yawRate;
}

void Estimator::setHome(double amslAltitude, double latitude, double longitude) {
  outputs.home[0] = amslAltitude;
  outputs.home[1] = latitude;
  outputs.home[2] = longitude;
}

void Estimator::emergencyCut() {
  outputs.state = FLIGHT_STATE_EMERGENCY;
  outputs.armed = 0;
}

void Estimator::setFollowMe(float distance, FOLLOW_ME_TRAJECTORY_TYPE trajectory) {
  outputs.follow_distance = trajectory == FOLLOW_ME_TRAJECTORY_NONE ? 0 : distance;
  outputs.follow_trajectory = trajectory;
}

const estimator_outputs& Estimator::step(const std::byte* sensors) {
  const double seconds = std::min(integrate(load<sensor_imu_data>(sensors, offsetof(sensors_data, imu))),
                                  MAX_CORRECTION_SECONDS);

  const auto baro = load<sensor_baro_data>(sensors, offsetof(sensors_data, baro));
  if (within(baro.pressure, MIN_PRESSURE, MAX_PRESSURE)) {
    // The first usable pressure counts as that of the ground, so heights are relative to the start.
    if (groundPressure == 0) groundPressure = baro.pressure;
    correctHeight((groundPressure - baro.pressure) / PASCALS_PER_METRE, BARO_BANDWIDTH, seconds);
  }
  const auto ultrasound = load<sensor_us_data>(sensors, offsetof(sensors_data, us));
  correctHeightByRange(ultrasound.altitude, MAX_ULTRASOUND, seconds);
  const auto tof = load<sensor_tof_data>(sensors, offsetof(sensors_data, tof_vertical));
  if (tof.invalid_flags == 0) correctHeightByRange(tof.distance, MAX_TOF, seconds);

  position = std::clamp(position, -MAX_POSITION, MAX_POSITION);
  speed = std::clamp(speed, -MAX_SPEED, MAX_SPEED);
  advanceState();

  count(outputs.step_count);
  std::transform(attitude.begin(), attitude.end(), outputs.attitude,
                 [](double part) { return static_cast<float>(part); });
  outputs.vertical_position = static_cast<float>(position);
  outputs.vertical_speed = static_cast<float>(speed);
  return outputs;
}

/// The direction of down in body axes, as the attitude has it.
Estimator::Vector Estimator::down() const {
  const auto [w, x, y, z] = attitude;
  return {2 * (x * z - w * y), 2 * (y * z + w * x), w * w - x * x - y * y + z * z};
}

/// Integrates the step's valid samples. The seconds that they span.
double Estimator::integrate(const sensor_imu_data& imu) {
  const std::size_t samples = std::min<std::size_t>(imu.nb_samples, std::size(imu.gyro));
  double elapsed = 0;
  for (std::size_t i = 0; i < samples; ++i) {
    const sensor_vector& gyro = imu.gyro[i];
    const sensor_vector& acc = imu.acc[i];
    if (!within(gyro, MAX_RATE) || !within(acc, MAX_FORCE)) continue;
    const double seconds =
        secondsBetween(lastSample, imu.timestamp[i], STEP_SECONDS / static_cast<double>(samples));
    lastSample = imu.timestamp[i];
    integrateSample({gyro.x, gyro.y, gyro.z}, {acc.x, acc.y, acc.z}, seconds);
    elapsed += seconds;
  }
  if (elapsed > 0) return elapsed;
  // Without a usable sample the vehicle is taken to move on as before.
  position += speed * STEP_SECONDS;
  return STEP_SECONDS;
}

void Estimator::integrateSample(const Vector& rate, const Vector& force, double seconds) {
  const Vector bodyDown = down();
  auto [p, q, r] = rate;
  // At rest the accelerometer measures only the ground's push, straight up, so it tells where up is. In a
  // manoeuvre it measures other forces as well; a strength far from gravity's shows that.
  const double strength = std::sqrt(dot(force, force));
  if (within(strength, GRAVITY / 2, GRAVITY * 3 / 2)) {
    const double gain = LEVELLING / strength;
    p -= gain * (force[1] * bodyDown[2] - force[2] * bodyDown[1]);
    q -= gain * (force[2] * bodyDown[0] - force[0] * bodyDown[2]);
    r -= gain * (force[0] * bodyDown[1] - force[1] * bodyDown[0]);
  }

  // The change is at right angles to the attitude, so the sum is never shorter than 1 and can be scaled.
  const auto [w, x, y, z] = attitude;
  const double half = seconds / 2;
  attitude = {w + half * (-x * p - y * q - z * r), x + half * (w * p + y * r - z * q),
              y + half * (w * q - x * r + z * p), z + half * (w * r + x * q - y * p)};
  double squares = 0;
  for (const double part : attitude) squares += part * part;
  for (double& part : attitude) part /= std::sqrt(squares);

  speed += (-dot(force, bodyDown) - GRAVITY) * seconds;
  position += speed * seconds;
}

/// Pulls height and climb toward a measured height, in metres. The gains damp the error critically.
void Estimator::correctHeight(double measured, double bandwidth, double seconds) {
  const double gap = measured - position;
  position += 2 * bandwidth * seconds * gap;
  speed += bandwidth * bandwidth * seconds * gap;
}

/// Corrects by a range along the body's down axis, in metres; 0 tells that there is none.
void Estimator::correctHeightByRange(float distance, double maximum, double seconds) {
  const double cosine = down()[2];
  if (distance > 0 && distance <= maximum && cosine >= MIN_DOWN) {
    correctHeight(distance * cosine, RANGE_BANDWIDTH, seconds);
  }
}

void Estimator::advanceState() {
  if (outputs.state == FLIGHT_STATE_TAKING_OFF && position >= outputs.take_off_altitude - NEAR_METRES) {
    outputs.state = FLIGHT_STATE_FLYING;
  }
  if (outputs.state == FLIGHT_STATE_LANDING && position <= NEAR_METRES && std::abs(speed) <= NEAR_SPEED) {
    outputs.state = FLIGHT_STATE_LANDED;
  }
}

}  // namespace Dravon3
