#pragma once

#include <cstdint>

#include "logfile/ApiCall.hpp"
#include "registry/SensorRecords.hpp"
#include "simulation/GpsReceiver.hpp"
#include "simulation/Noise.hpp"
#include "simulation/Vector3.hpp"
#include "simulation/VehicleMotion.hpp"

namespace simulation {

/// A vehicle in flight and what its sensors measure, step by step.
///
/// Rate, seed and calls determine every value to the bit, on every machine: all chance comes from the seed,
/// and only operations that IEEE 754 defines exactly are used (+, -, *, / and the square root). Memory does
/// not grow with the flight's length.
class FlightSimulation {
 public:
  /// `rate` steps a second, 1 or more.
  FlightSimulation(int stepRate, std::uint64_t seed);

  /// Obeys a call before the step that it belongs to.
  void call(const ApiCall& call) { motion.call(call); }

  /// Flies one step and writes what the sensors measure at its end. `sensors` must hold the record of the
  /// previous step, or zeros before the first one: a sensor without a new value keeps its last one.
  void step(sensors_data& sensors);

 private:
  void drainBattery();
  void observeSurroundings(sensors_data& sensors);
  void observeVehicle(sensors_data& sensors);

  bool due(std::int64_t hertz) const;
  timespec stamp(std::int64_t latency) const;

  void flyInertialSamples(sensor_imu_data& imu);
  void measurePressure(sensor_baro_data& baro);
  void measureMagneticField(sensor_magneto_data& magneto);
  void measureMotors(sensor_motors_data& motors);
  void measureUltrasound(sensor_us_data& us);
  void measureTimeOfFlight(sensor_tof_data& tof);
  void reportBattery(sensor_battery_data& battery);
  void detectCarpet(sensor_carpet_detection_data& carpet);
  void matchFeatures(sensor_vision_position_data& vision, Vector3& drift, double lowestHeight);
  void measureOpticalFlow(sensor_optical_flow_data& flow);

  sensor_vector noisy(const Vector3& value, double sigma);
  double motorLoad() const;
  double batteryVoltage() const;

  int rate;                          // steps a second
  int samplesPerStep;                // inertial samples, on average
  std::int64_t stepIndex = 0;        // of the step under way
  std::int64_t sampleCount = 0;      // inertial samples so far
  bool sampleInAdvance = false;      // the last step took one of this step's inertial samples
  std::int64_t bootNanoseconds = 0;  // time since boot, of the last inertial sample

  Noise noise;
  VehicleMotion motion;
  Vector3 gyroBias;                // rad/s
  Vector3 accelerometerBias;       // m/s^2
  double boardTemperature = 24.0;  // degrees Celsius
  double groundRange = 0.0;        // m along the body's axis, from the sensors under the body
  GpsReceiver gps;
  double charge = 0.97;         // of a full battery
  double current = 0.0;         // A
  Vector3 verticalCameraDrift;  // m
  Vector3 stereoCameraDrift;    // m
  Vector3 cameraOffset;         // rad
};

}  // namespace simulation
