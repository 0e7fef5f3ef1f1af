#include "simulation/FlightSimulation.hpp"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

#include "simulation/FlightPlan.hpp"

namespace simulation {

namespace {

constexpr std::int64_t NANOSECONDS = 1'000'000'000;  // in a second

// Two clocks, as on a vehicle: time stamps count from boot, GPS time is that of the calendar. Both start at
// fixed values, so that a flight has the same bytes whenever it is made.
constexpr std::int64_t BOOT_SECONDS = 60;               // from boot to the first step
constexpr std::uint64_t UTC_START = 1'718'452'800'000;  // of the first step, ms since 1970
// Lasts for about 18 minutes in hovering. The battery is slightly aged; by design it had 5000 mAh.
constexpr double FULL_CHARGE = 4920.0;  // mAh
constexpr double RESERVE = 0.08;        // of the full charge, never drained: long flights go on
// Also keeps the range above 0, which the optical flow divides by.
constexpr double GROUND_CLEARANCE = 0.04;     // m from the ground to the range sensors
constexpr double ULTRASOUND_REACH = 6.0;      // m
constexpr double ULTRASOUND_FAR_MODE = 2.0;   // m: above, pulses are longer
constexpr double TIME_OF_FLIGHT_REACH = 4.0;  // m
constexpr double CARPET_REACH = 2.5;          // m
constexpr double HOVER_COMMAND = 115.0;       // of a motor, 0 to 255
constexpr double HOVER_SPEED = 8900.0;        // revolutions per minute
constexpr int COMMAND_CHANGE = 10;            // of a motor's 0 to 255 that counts as up or down
constexpr int IDLE_COMMAND = 51;              // 20 % of 255

// About what is measured at 45 degrees north: half a gauss, pointing north and steeply down.
constexpr Vector3 MAGNETIC_FIELD = {0.224, 0.012, 0.412};  // gauss, in the ground's frame

// Bits of a record's flags: the sensors that have a new value in this step.
enum NewMeasure : std::uint32_t {
  NEW_IMU = 1,
  NEW_BARO = 2,
  NEW_MAGNETO = 4,
  NEW_GPS = 8,
  NEW_BATTERY = 16,
  NEW_MOTORS = 32,
};

// New values of each sensor a second; never more than one in a step.
constexpr std::int64_t BARO_HERTZ = 50;
constexpr std::int64_t MAGNETO_HERTZ = 50;
constexpr std::int64_t GPS_HERTZ = 5;
constexpr std::int64_t BATTERY_HERTZ = 2;
constexpr std::int64_t MOTORS_HERTZ = 20;
constexpr std::int64_t ULTRASOUND_HERTZ = 20;
constexpr std::int64_t TIME_OF_FLIGHT_HERTZ = 40;
constexpr std::int64_t CARPET_HERTZ = 10;
constexpr std::int64_t VERTICAL_CAMERA_HERTZ = 15;
constexpr std::int64_t STEREO_CAMERA_HERTZ = 30;
constexpr std::int64_t OPTICAL_FLOW_HERTZ = 60;

// From the picture to its result, in nanoseconds.
constexpr std::int64_t CAMERA_LATENCY = 35'000'000;
constexpr std::int64_t CARPET_LATENCY = 60'000'000;
// One image in so many, by chance, becomes the new reference.
constexpr std::uint64_t REFERENCE_IMAGES = 12;

/// The vector as sensor records hold it, in single precision.
sensor_vector narrowed(const Vector3& value) {
  return {static_cast<float>(value.x), static_cast<float>(value.y), static_cast<float>(value.z)};
}

/// Pressure of the standard atmosphere in Pa, at a height above the sea in metres: the power law's first
/// terms, good to a tenth of a pascal up to 1000 m. std::pow would give other bits on other machines.
double standardPressure(double altitude) {
  const double ratio = 2.25577e-5 * altitude;
  return 101325.0 * (1.0 - ratio * (5.25588 - ratio * (11.18420 - ratio * 12.13837)));
}

}  // namespace

FlightSimulation::FlightSimulation(int stepRate, std::uint64_t seed)
    : rate(stepRate),
      // About a thousand inertial samples a second at the usual rates; above 500, one in each step.
      samplesPerStep(stepRate <= 250   ? 4
                     : stepRate <= 500 ? 2
                                       : 1),
      noise(seed) {
  // Errors that stay the same for the whole flight: rad/s and m/s^2.
  noise.wander(gyroBias, 0.003, 0.01);
  noise.wander(accelerometerBias, 0.03, 0.1);
  gps.switchOn(noise);
}

void FlightSimulation::step(sensors_data& sensors) {
  // The caller hands in the record of the step before; its marks of new values must not stay.
  sensors.flags = NEW_IMU;
  sensors.baro.flags = 0;
  sensors.tof_vertical.flags = 0;
  flyInertialSamples(sensors.imu);
  // A tilted vehicle looks at the ground at an angle, which makes the distance longer.
  groundRange = (motion.height() + GROUND_CLEARANCE) / motion.axes.down.z;
  drainBattery();
  // The sensors measure in a fixed order, since each one's noise continues the same sequence.
  observeSurroundings(sensors);
  observeVehicle(sensors);
  ++stepIndex;
}

/// Warms the board and drains the battery by the power that the motors take in a step.
void FlightSimulation::drainBattery() {
  // The board is at 24 degrees in the air around it, gains 16 from hovering motors, and follows in two
  // minutes. The electronics take 0.4 A, hovering 15 A more. 1 mAh is 3.6 As.
  const double load = motorLoad();
  boardTemperature += (24.0 + 16.0 * load - boardTemperature) / (120.0 * rate);
  current = 0.4 + 15.0 * load;  // A
  charge = std::max(RESERVE, charge - current / (3.6 * FULL_CHARGE * rate));
}

void FlightSimulation::observeSurroundings(sensors_data& sensors) {
  if (due(BARO_HERTZ)) {
    measurePressure(sensors.baro);
    sensors.flags |= NEW_BARO;
  }
  if (due(TIME_OF_FLIGHT_HERTZ)) measureTimeOfFlight(sensors.tof_vertical);
  if (due(ULTRASOUND_HERTZ)) measureUltrasound(sensors.us);
  if (due(CARPET_HERTZ)) detectCarpet(sensors.carpet_detection);
  // Each camera has its own error; the one that looks down needs some height to see enough.
  if (due(VERTICAL_CAMERA_HERTZ)) matchFeatures(sensors.vcam_position, verticalCameraDrift, 0.8);
  if (due(STEREO_CAMERA_HERTZ)) matchFeatures(sensors.fstcam_position, stereoCameraDrift, 0.3);
  if (due(OPTICAL_FLOW_HERTZ)) measureOpticalFlow(sensors.vcam_optical_flow);
}

void FlightSimulation::observeVehicle(sensors_data& sensors) {
  if (due(MAGNETO_HERTZ)) {
    measureMagneticField(sensors.magneto);
    sensors.flags |= NEW_MAGNETO;
  }
  if (due(GPS_HERTZ)) {
    const auto sinceStart = static_cast<std::uint64_t>(stepIndex * 1000 / rate);
    gps.fix(motion, UTC_START + sinceStart, noise, sensors.gps);
    sensors.flags |= NEW_GPS;
  }
  if (due(BATTERY_HERTZ)) {
    reportBattery(sensors.battery);
    sensors.flags |= NEW_BATTERY;
  }
  if (due(MOTORS_HERTZ)) {
    measureMotors(sensors.motors);
    sensors.flags |= NEW_MOTORS;
  }
}

/// Whether a sensor with this many values a second has a new one in this step.
bool FlightSimulation::due(std::int64_t hertz) const {
  // Integers keep the rate exact however long the flight is. Step 0 gives every sensor a first value.
  return stepIndex == 0 || stepIndex * hertz / rate != (stepIndex - 1) * hertz / rate;
}

/// The time since boot, this many nanoseconds before the last inertial sample.
timespec FlightSimulation::stamp(std::int64_t latency) const {
  const std::int64_t time = bootNanoseconds - latency;
  return {time / NANOSECONDS, time % NANOSECONDS};
}

sensor_vector FlightSimulation::noisy(const Vector3& value, double sigma) {
  return narrowed(noise.around(value, sigma));
}

/// Power of the motors as a share of what hovering takes.
double FlightSimulation::motorLoad() const {
  double load = 0.0;
  for (std::size_t motor = 0; motor < 4; ++motor) {
    const double level = motion.motorLevel(motor);
    // The power of a rotor grows with the cube of its speed.
    load += 0.25 * level * level * level;
  }
  return load;
}

/// The inertial sampler does not run on the clock of the control steps: now and then, a step also gets the
/// first sample of the next step.
void FlightSimulation::flyInertialSamples(sensor_imu_data& imu) {
  const bool oneMore = samplesPerStep > 1 && noise.oneIn(6);
  const int count = samplesPerStep + (oneMore ? 1 : 0) - (sampleInAdvance ? 1 : 0);
  sampleInAdvance = oneMore;

  const std::int64_t samplesPerSecond = std::int64_t{rate} * samplesPerStep;
  // Turning rotors shake the sensors: most of their noise comes and goes with the load.
  const double vibration = motorLoad();
  // Most steps take fewer samples than the record has places for; the rest must not keep older samples.
  imu = {};
  imu.nb_samples = static_cast<std::uint8_t>(count);
  for (int i = 0; i < count; ++i) {
    motion.advance(1.0 / static_cast<double>(samplesPerSecond));
    ++sampleCount;
    // From the count, not as a sum of periods: their rounding errors would add up.
    bootNanoseconds = BOOT_SECONDS * NANOSECONDS + sampleCount * NANOSECONDS / samplesPerSecond;
    imu.gyro[i] = noisy(motion.angularRate + gyroBias, 0.002 + 0.015 * vibration);
    imu.acc[i] = noisy(motion.specificForce + accelerometerBias, 0.02 + 0.3 * vibration);
    imu.temp[i] = static_cast<float>(boardTemperature + 4.0 + noise.bell(0.02));
    imu.timestamp[i] = stamp(0);
  }
}

void FlightSimulation::measurePressure(sensor_baro_data& baro) {
  const double altitude = FlightOrigin::AMSL_ALTITUDE + motion.height();
  // Noise of 1.5 Pa is about 12 cm of height.
  baro.pressure = static_cast<float>(standardPressure(altitude) + noise.bell(1.5));
  baro.temperature = static_cast<float>(boardTemperature + 2.0 + noise.bell(0.05));
  baro.flags = 1;
}

void FlightSimulation::measureMagneticField(sensor_magneto_data& magneto) {
  const sensor_vector field = noisy(motion.axes.toBody(MAGNETIC_FIELD), 0.002);
  magneto.x = field.x;
  magneto.y = field.y;
  magneto.z = field.z;
  magneto.temperature = static_cast<float>(boardTemperature + 1.0 + noise.bell(0.1));
}

void FlightSimulation::measureMotors(sensor_motors_data& motors) {
  motors.braking = motors.ramping = motors.spinning = motors.nominal = motors.idle = 0;
  for (std::size_t motor = 0; motor < std::size(motors.speeds); ++motor) {
    sensor_motor_speed& speed = motors.speeds[motor];
    const double level = motion.motorLevel(motor);
    const int bit = 1 << motor;
    const int command = static_cast<int>(std::clamp(level * HOVER_COMMAND, 0.0, 255.0));
    // The record still holds the command of the last measurement.
    const int change = command - speed.pwm;
    if (change <= -COMMAND_CHANGE) motors.braking |= bit;
    if (change >= COMMAND_CHANGE) motors.ramping |= bit;
    if (command > 0) motors.spinning |= bit;
    if (command > 0 && command < IDLE_COMMAND) motors.idle |= bit;
    if (command >= IDLE_COMMAND) motors.nominal |= bit;
    const double rotations = command > 0 ? level * HOVER_SPEED + noise.bell(25.0) : 0.0;
    speed.rpm = static_cast<std::uint16_t>(std::clamp(rotations, 0.0, 65535.0));
    speed.pwm = static_cast<std::uint8_t>(command);
    motors.status[motor] = command > 0 ? 1 : 0;
  }
  motors.vbat = static_cast<float>(batteryVoltage() + noise.bell(0.02));
}

/// Beyond its reach there is no echo, and the altitudes are 0.
void FlightSimulation::measureUltrasound(sensor_us_data& us) {
  us.altitude = 0.0F;
  us.altitude_v2 = 0.0F;
  if (groundRange <= ULTRASOUND_REACH) {
    us.altitude = static_cast<float>(groundRange + noise.bell(0.008));
    us.altitude_v2 = static_cast<float>(groundRange + noise.bell(0.004));
  }
  us.range_mode = groundRange > ULTRASOUND_FAR_MODE ? 1 : 0;
  // Counts measurements; starts again at 0, since a signed overflow would be undefined.
  us.measure_index = us.measure_index < std::numeric_limits<int>::max() ? us.measure_index + 1 : 0;
}

/// Out of reach the distance is 0 and bit 0 of the invalid flags is set.
void FlightSimulation::measureTimeOfFlight(sensor_tof_data& tof) {
  const bool valid = groundRange <= TIME_OF_FLIGHT_REACH;
  // Less light comes back from far away, and the measurement is less reliable.
  const double returned = 1.0 / (1.0 + groundRange * groundRange);  // share of the light
  tof.distance = valid ? static_cast<float>(groundRange + noise.bell(0.003)) : 0.0F;
  tof.magnitude = static_cast<float>(2400.0 * returned + noise.bell(4.0));
  tof.temperature = static_cast<float>(boardTemperature + 1.5 + noise.bell(0.1));
  tof.ambient = static_cast<float>(55.0 + noise.bell(1.2));
  tof.invalid_flags = valid ? 0 : 1;
  tof.qualification = valid ? static_cast<int>(20.0 + 80.0 * returned) : 0;
  tof.flags = 1;
}

double FlightSimulation::batteryVoltage() const {
  // Four cells of 3.45 V when empty and 4.15 V when full, behind an internal resistance of 0.022 ohm.
  return 13.8 + 2.8 * charge - 0.022 * current;
}

void FlightSimulation::reportBattery(sensor_battery_data& battery) {
  battery.voltage = static_cast<float>(batteryVoltage() + noise.bell(0.01));
  battery.current = static_cast<float>(current + noise.bell(0.1));
  battery.remaining_cap = static_cast<float>(charge * FULL_CHARGE);
  battery.time_to_empty = static_cast<int>(3.6 * charge * FULL_CHARGE / current);  // s
  // The design capacity, the capacity when full and the age do not change in flight.
  battery.capacity = 5000;  // mAh
  battery.full_charge_cap = static_cast<float>(FULL_CHARGE);
  battery.cycle_count = 23;
}

/// The carpet lies at the take-off point. While it is out of sight, its last place stays in the record.
void FlightSimulation::detectCarpet(sensor_carpet_detection_data& carpet) {
  carpet.active = length(motion.position) < CARPET_REACH;
  carpet.nb_targets = 0;
  if (!carpet.active) return;
  const sensor_vector place = noisy(motion.axes.toBody(motion.position * -1.0), 0.01);
  carpet.x = place.x;
  carpet.y = place.y;
  carpet.z = place.z;
  // The carpet points north, so that it turns against the vehicle.
  carpet.orientation = static_cast<float>(noise.bell(0.02) - motion.yaw);
  carpet.nb_targets = groundRange > 0.5 ? 4 : 1;  // from close by, only one is in the picture
  carpet.ts = stamp(CARPET_LATENCY);
}

/// Finds the position by features that are recognised from the last reference image. Below `lowestHeight`
/// there are too few features, and the last position stays in the record.
void FlightSimulation::matchFeatures(sensor_vision_position_data& vision, Vector3& drift,
                                     double lowestHeight) {
  const bool tracking = motion.height() >= lowestHeight;
  vision.ts = stamp(CAMERA_LATENCY);
  vision.status = tracking ? 1 : 0;
  vision.discriminable_ft_ratio = static_cast<float>((tracking ? 0.75 : 0.15) + noise.bell(0.04));
  if (noise.oneIn(REFERENCE_IMAGES)) {
    vision.last_ref_image_ts = static_cast<std::uint64_t>((bootNanoseconds - CAMERA_LATENCY) / 1000);  // us
  }
  if (!tracking) return;
  // The error wanders from match to match, in m: references are themselves placed by matches.
  noise.wander(drift, 0.004, 1.0);
  vision.position = noisy(motion.position + drift, 0.01);
}

void FlightSimulation::measureOpticalFlow(sensor_optical_flow_data& flow) {
  // Closer to the ground the picture is out of focus, and few of its zones show movement.
  const bool sharp = groundRange > 0.3;
  const Vector3 speed = motion.axes.toBody(motion.velocity);
  flow.ts = stamp(CAMERA_LATENCY);
  // The ground moves against the vehicle, and turns the other way: rad/s.
  flow.optical_flow =
      noisy(Vector3{-speed.x / groundRange, -speed.y / groundRange, -motion.angularRate.z}, 0.01);
  // An estimate of how far the camera is turned against the body, in rad, which changes slowly in flight.
  noise.wander(cameraOffset, 0.0002, 0.02);
  flow.estimated_camera_offset = narrowed(cameraOffset);
  flow.quality_indicator = static_cast<float>((sharp ? 0.85 : 0.2) + noise.bell(0.04));
  flow.nb_valid_zones = static_cast<std::uint32_t>((sharp ? 14.0 : 3.0) + noise.bell(0.7));
  flow.defined = sharp ? 1 : 0;
}

}  // namespace simulation
