#include <gmock/gmock.h>

#include <cmath>
#include <numeric>
#include <random>

#include "platform/OstrelFixture.hpp"
#include "registry/Introspect.hpp"
#include "support/Row.hpp"

namespace {

using Dravon3::estimator_outputs;
using Estimator = OstrelFixture;

struct Motion : Row {
  std::vector<std::pair<std::string, double>> sensors;  // what differs from rest
  std::string estimate;                                 // attitude, vertical position, vertical speed
};
class EstimatorMotion : public OstrelFixture, public testing::WithParamInterface<Motion> {};

TEST_P(EstimatorMotion, FollowsTwentyStepsOfTheseSensors) {
  run(atRest());
  sensors_data sensors = atRest();
  DataRegistry registry;
  Registrator registrator(registry);
  introspect(registrator, sensors, "");
  for (auto [name, value] : GetParam().sensors) registry.entries.at(name)->fromRecord(value);
  for (int i = 0; i < 19; ++i) run(sensors);
  const estimator_outputs outputs = run(sensors);
  const float* const a = outputs.attitude;
  char text[100];
  std::snprintf(text, sizeof(text), "%.4f %.4f %.4f %.4f, %.4f, %.4f", a[0], a[1], a[2], a[3],
                outputs.vertical_position, outputs.vertical_speed);
  EXPECT_EQ(std::string(text), GetParam().estimate);
  EXPECT_EQ(outputs.step_count, 21);
}

// Each limit of a sensor has a row on either side.
const char* const LEFT_OUT = "1.0000 0.0000 0.0000 0.0000, 0.0000, 0.0000";
const Motion MOTIONS[] = {
    {"Rest", {}, LEFT_OUT},
    {"Turn",
     {{"imu.gyro[0].x", 0.3}, {"imu.gyro[0].y", 0.5}, {"imu.gyro[0].z", 0.7}},
     "0.9998 0.0071 0.0119 0.0175, -0.0000, -0.0001"},
    {"Push",
     {{"imu.acc[1].x", 1}, {"imu.acc[1].y", 2}, {"imu.acc[1].z", -11}},
     "1.0000 -0.0043 0.0021 0.0000, 0.0028, 0.0601"},
    {"FastestTurn", {{"imu.gyro[0].y", -60}}, "0.1071 0.0000 -0.9942 0.0000, -0.0264, -0.9108"},
    {"TurnTooFast", {{"imu.gyro[0].y", -60.01}}, LEFT_OUT},
    {"StrongestPush", {{"imu.acc[0].z", -500}}, "1.0000 0.0000 0.0000 0.0000, 1.1957, 24.4647"},
    {"PushTooStrong", {{"imu.acc[0].z", -500.1}}, LEFT_OUT},
    {"WeakestLevelling",
     {{"imu.acc[0].x", 1}, {"imu.acc[0].z", -4.81}},
     "1.0000 0.0000 0.0048 0.0000, -0.0122, -0.2492"},
    {"TooWeakToLevel",
     {{"imu.acc[0].x", 1}, {"imu.acc[0].z", -4.79}},
     "1.0000 0.0000 0.0000 0.0000, -0.0122, -0.2504"},
    {"StrongestLevelling",
     {{"imu.acc[0].x", 1}, {"imu.acc[0].z", -14.67}},
     "1.0000 0.0000 0.0016 0.0000, 0.0119, 0.2428"},
    {"TooStrongToLevel",
     {{"imu.acc[0].x", 1}, {"imu.acc[0].z", -14.68}},
     "1.0000 0.0000 0.0000 0.0000, 0.0119, 0.2432"},
    {"LowPressure", {{"baro.pressure", 10000}}, "1.0000 0.0000 0.0000 0.0000, 1401.1879, 200.0000"},
    {"PressureTooLow", {{"baro.pressure", 9999}}, LEFT_OUT},
    {"HighPressure", {{"baro.pressure", 120000}}, "1.0000 0.0000 0.0000 0.0000, -289.8709, -141.4547"},
    {"PressureTooHigh", {{"baro.pressure", 120001}}, LEFT_OUT},
    {"Ultrasound", {{"us.altitude", 8}}, "1.0000 0.0000 0.0000 0.0000, 3.5698, 5.3124"},
    {"UltrasoundTooFar", {{"us.altitude", 8.01}}, LEFT_OUT},
    {"Tof", {{"tof_vertical.distance", 20}}, "1.0000 0.0000 0.0000 0.0000, 8.9246, 13.2809"},
    {"TofTooFar", {{"tof_vertical.distance", 20.01}}, LEFT_OUT},
    {"TofInvalid", {{"tof_vertical.distance", 1}, {"tof_vertical.invalid_flags", 1}}, LEFT_OUT},
    {"NoSample",
     {{"us.altitude", 1}, {"imu.nb_samples", 0}},
     "1.0000 0.0000 0.0000 0.0000, 0.4462, 0.6640"},
    {"RangeWhileTurningOver",
     {{"us.altitude", 1}, {"imu.gyro[0].x", 20}},
     "0.8882 0.4595 0.0000 0.0000, 0.3263, 0.3446"},
};
INSTANTIATE_ROWS(EstimatorMotion, MOTIONS);

TEST_F(Estimator, TimeBetweenSamplesComesFromTheirStampsWhenItIsPlausible) {
  struct Gap {
    long nanoseconds;
    double attitude;  // after a turn of 1 rad/s in the second sample
  };
  for (const Gap& gap :
       {Gap{1'000'000, 0.0005}, {100'000'000, 0.04994}, {100'000'001, 0.00125}, {0, 0.00125}}) {
    OSTREL_delete();
    OSTREL_new("quad", "default");
    sensors_data sensors = atRest();
    sensors.imu.timestamp[0].tv_sec = sensors.imu.timestamp[1].tv_sec = 1000;
    sensors.imu.timestamp[1].tv_nsec = gap.nanoseconds;
    sensors.imu.gyro[1].z = 1;
    EXPECT_NEAR(run(sensors).attitude[3], gap.attitude, 1e-5) << gap.nanoseconds;
  }
}

struct Flight : Row {
  std::vector<std::pair<std::string, std::vector<double>>> calls;  // one step after each
  float height;                                                    // metres, as the ultrasound has it
  Dravon3::flight_state state;
  int armed;
};
class FlightState : public OstrelFixture, public testing::WithParamInterface<Flight> {};

TEST_P(FlightState, FollowsTheCallsAndTheHeight) {
  sensors_data sensors = atRest();
  sensors.baro.pressure = 0;  // none: the height is that of the ultrasound
  sensors.us.altitude = GetParam().height;
  for (int i = 0; i < 1000; ++i) run(sensors);  // until the estimate has settled
  for (const auto& [api, arguments] : GetParam().calls) {
    EXPECT_EQ(call(api, arguments), 0);
    run(sensors);
  }
  EXPECT_EQ(Dravon3::data_manager()->outputs.state, GetParam().state);
  EXPECT_EQ(Dravon3::data_manager()->outputs.armed, GetParam().armed);
}

using Calls = std::vector<std::pair<std::string, std::vector<double>>>;
constexpr auto LANDED = Dravon3::FLIGHT_STATE_LANDED, TAKING_OFF = Dravon3::FLIGHT_STATE_TAKING_OFF,
               FLYING = Dravon3::FLIGHT_STATE_FLYING, LANDING = Dravon3::FLIGHT_STATE_LANDING,
               EMERGENCY = Dravon3::FLIGHT_STATE_EMERGENCY;
const Calls::value_type ARM = {"set_motors_armed", {1}}, DISARM = {"set_motors_armed", {0}};
const Calls::value_type TAKE_OFF = {"take_off", {1}}, LAND = {"land", {}}, CUT = {"emergency_cut", {}};
const Flight FLIGHTS[] = {
    {"UnarmedStaysLanded", {TAKE_OFF}, 1, LANDED, 0},
    {"Armed", {ARM}, 1, LANDED, 1},
    {"BelowTheAltitude", {ARM, TAKE_OFF}, 0.69F, TAKING_OFF, 1},
    {"NearTheAltitude", {ARM, TAKE_OFF}, 0.71F, FLYING, 1},
    {"LandingAbandonsTakeOff", {ARM, TAKE_OFF, LAND}, 0.6F, LANDING, 1},
    {"Landing", {ARM, TAKE_OFF, LAND}, 1, LANDING, 1},
    {"LandsNearTheGround", {ARM, {"take_off", {0.2}}, LAND}, 0.29F, LANDED, 1},
    {"StaysAboveTheGround", {ARM, {"take_off", {0.2}}, LAND}, 0.31F, LANDING, 1},
    {"LandingStartsInTheAirOnly", {ARM, LAND}, 1, LANDED, 1},
    {"DisarmingEndsTheFlight", {ARM, TAKE_OFF, DISARM}, 1, LANDED, 0},
    {"ArmingKeepsTheFlight", {ARM, TAKE_OFF, ARM}, 1, FLYING, 1},
    {"Emergency", {ARM, TAKE_OFF, CUT, TAKE_OFF, LAND}, 1, EMERGENCY, 0},
    {"ArmingEndsAnEmergency", {ARM, TAKE_OFF, CUT, ARM}, 1, LANDED, 1},
};
INSTANTIATE_ROWS(FlightState, FLIGHTS);

TEST_F(Estimator, PositionAndSpeedStopAtTheirLimits) {
  sensors_data sensors = atRest();
  sensors.imu.acc[0].z = sensors.imu.acc[1].z = -100;
  sensors.baro.pressure = 0;
  for (int i = 0; i < 11'000; ++i) run(sensors);
  EXPECT_EQ(run(sensors).vertical_position, 10'000);
  EXPECT_EQ(run(sensors).vertical_speed, 200);
}

TEST_F(Estimator, StaysFiniteWhateverTheSensorsHold) {
  std::mt19937_64 random(7);
  for (int i = 0; i < 20'000; ++i) {
    sensors_data sensors = atRest();
    sensors.imu.nb_samples = 255;
    // Nearly all garbage, or a few wild values among the largest plausible ones.
    for (sensor_vector& acc : sensors.imu.acc) acc.z = i % 4000 < 2000 ? -500 : 500;
    auto* const image = reinterpret_cast<unsigned char*>(&sensors);
    for (std::size_t n = i % 16 == 0 ? 3000 : random() % 8; n > 0; --n)
      image[random() % (n > 8 ? sizeof(sensors) : 512)] = static_cast<unsigned char>(random());
    const estimator_outputs outputs = run(sensors);
    const double length = std::inner_product(outputs.attitude, outputs.attitude + 4, outputs.attitude, 0.0);
    ASSERT_NEAR(length, 1, 1e-5) << i;
    ASSERT_LE(std::abs(outputs.vertical_position), 10'000) << i;
    ASSERT_LE(std::abs(outputs.vertical_speed), 200) << i;
  }
}

}  // namespace
