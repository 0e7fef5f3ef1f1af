#include <gmock/gmock.h>

#include <cerrno>
#include <cmath>
#include <iomanip>

#include "kvs/kvs.h"
#include "logfile/ApiArguments.hpp"
#include "ostrel/api_input.hpp"
#include "ostrel/data_manager.hpp"
#include "ostrel/log_tlmb.h"
#include "ostrel/ostrel.h"
#include "registry/SensorRecords.hpp"
#include "support/BlackboxRecords.hpp"
#include "support/Row.hpp"
#include "support/TestClock.hpp"
#include "support/TestFolder.hpp"

namespace {

using namespace Dravon3;

/// The library's instance with its API inputs, as a replay holds them.
struct Ostrel : testing::Test {
  Ostrel() {
    for (Api::InputBase* each : input) each->registerArgs(events);
    events.freeze();
    EXPECT_EQ(OSTREL_new("quad", "default"), 0);
  }
  ~Ostrel() override { OSTREL_delete(); }

  /// Calls an API with its arguments in the order of their names.
  int call(const std::string& api, std::vector<double> values) {
    const DataRegistry& arguments = *argumentRegistry(*events.entries.at(api));
    for (std::size_t i = 0; i < values.size(); ++i) arguments.entryList.at(i)->fromRecord(values[i]);
    for (Api::InputBase* each : input)
      if (each->name == api) return each->apply();
    return -ENOENT;
  }
  static estimator_outputs runSteps(int count, const sensors_data& sensors) {
    std::memcpy(data_manager()->sensors, &sensors, sizeof(sensors));
    for (int i = 0; i < count; ++i) EXPECT_EQ(OSTREL_process(), 0);
    return data_manager()->outputs;
  }
  static sensors_data atRest() {
    sensors_data sensors{};
    sensors.imu.nb_samples = 2;
    sensors.imu.acc[0].z = sensors.imu.acc[1].z = -9.80665F;
    sensors.baro.pressure = 101325;
    return sensors;
  }

  Api::Input input{true};
  DataRegistry events;
};

TEST_F(Ostrel, HasOneInstanceAtATimeEachWithAnEmptyRecord) {
  runSteps(1, {});
  EXPECT_EQ(OSTREL_new("quad", "default"), -EEXIST);
  OSTREL_delete();
  EXPECT_EQ(OSTREL_process(), -ENODEV);
  EXPECT_EQ(call("land", {}), -ENODEV);
  EXPECT_EQ(OSTREL_new("quad", nullptr), -EINVAL);
  EXPECT_EQ(OSTREL_new("quad", "default"), 0);
  EXPECT_EQ(data_manager()->outputs.step_count, 0);
}

/// Another client of the settings service makes the export log what is put.
struct Export : Ostrel {
  Export() {
    unsetenv("KVS_FILE");
    EXPECT_EQ(ostrel_log_tlmb_init("nav", 0, 0), 0);
  }
  ~Export() override {
    ostrel_log_tlmb_cleanup();
    kvs_ctx_destroy(settings);
  }
  void enable(const char* filter) {
    kvs_ctx_set_string(settings, "tlm-blackbox.logdir", folder.path("").c_str());
    kvs_ctx_set_string(settings, "tlm-blackbox.logname", "log");
    kvs_ctx_set_string(settings, "tlm-blackbox.filter", filter);
    kvs_ctx_set_bool(settings, "tlm-blackbox.enabled", true);
  }
  static int put() {
    const timespec now{1, 2};
    return ostrel_log_tlmb_put(&now);
  }
  std::size_t recordsInTheFile() const { return BlackboxRecords(folder.path("log")).records.size(); }

  const TestFolder folder;
  kvs_ctx* const settings = kvs_ctx_new_client(nullptr, nullptr);
};

TEST_F(Export, HasEachOutputUnderItsName) {
  EXPECT_EQ(ostrel_log_tlmb_init("nav", 0, 0), -EALREADY);
  enable("nav");
  EXPECT_EQ(call("set_motors_armed", {2}), 0);
  EXPECT_EQ(call("take_off", {0.1}), 0);
  EXPECT_EQ(call("land", {}), 0);
  EXPECT_EQ(call("set_velocity", {1, -2, 0.5, NAN}), 0);
  EXPECT_EQ(call("set_home", {0.1, 45, 7}), 0);
  EXPECT_EQ(call("emergency_cut", {}), 0);
  EXPECT_EQ(call("set_follow_me", {2, 1e10}), 0);
  sensors_data sensors = atRest();
  sensors.us.altitude = 1;
  runSteps(3, sensors);
  EXPECT_EQ(put(), 0);
  ostrel_log_tlmb_cleanup();
  EXPECT_EQ(put(), -ENODEV);
  EXPECT_THAT(readFile(folder.path("log")), testing::HasSubstr("quad"));  // in the header
  const BlackboxRecords log(folder.path("log"));
  std::ostringstream exported;
  for (const auto& [name, value] : log.records.at(0).values)
    if (name.rfind("inputs.", 0) != 0) exported << name << "=" << value << " ";
  EXPECT_EQ(exported.str(),
            "index=2 outputs.armed=0 outputs.attitude[0]=1 outputs.attitude[1]=0 outputs.attitude[2]=0 "
            "outputs.attitude[3]=0 outputs.call_count=7 outputs.follow_distance=2 "
            "outputs.follow_trajectory=-2.14748e+09 outputs.home[0]=0.1 outputs.home[1]=45 "
            "outputs.home[2]=7 outputs.state=4 outputs.step_count=3 outputs.take_off_altitude=0.1 "
            "outputs.velocity_setpoint[0]=1 outputs.velocity_setpoint[1]=-2 "
            "outputs.velocity_setpoint[2]=0.5 outputs.vertical_position=0.0871067 "
            "outputs.vertical_speed=0.130556 outputs.yaw_rate_setpoint=nan ");
}

TEST_F(Export, IsWrittenWhileItIsEnabledAndItsSectionIsInTheFilter) {
  const std::pair<const char*, std::size_t> filters[] = {
      {"other;nav", 1}, {"nav;other", 1}, {"navigation", 0}, {"", 0}};
  for (const auto& [filter, written] : filters) {
    enable(filter);
    EXPECT_EQ(put(), 0);
    EXPECT_EQ(recordsInTheFile(), 0U) << "without a flush period";
    kvs_ctx_set_bool(settings, "tlm-blackbox.enabled", false);
    EXPECT_EQ(put(), -ESHUTDOWN);
    EXPECT_EQ(recordsInTheFile(), written) << filter;
  }
}

TEST_F(Export, ReachesTheFileOncePerFlushPeriod) {
  kvs_ctx_set_int(settings, "tlm-blackbox.flushperiod", 3);
  enable("nav");
  std::vector<std::size_t> recordsAfterEachPut;
  for (const double secondsLater : {0, 2, 1, 2, 1}) {
    testSeconds += secondsLater;
    EXPECT_EQ(put(), 0);
    recordsAfterEachPut.push_back(recordsInTheFile());
  }
  EXPECT_THAT(recordsAfterEachPut, testing::ElementsAre(0, 0, 3, 3, 5));
}

struct Motion : Row {
  sensor_vector rate, force;  // of the first of two samples; the second one is at rest
  float pressure, ultrasound, tof;
  std::string estimate;  // attitude, vertical position, vertical speed
};
struct Estimator : Ostrel, testing::WithParamInterface<Motion> {};

TEST_P(Estimator, FollowsTwentyStepsOfTheseSensors) {
  runSteps(1, atRest());
  sensors_data sensors = atRest();
  sensors.imu.gyro[0] = GetParam().rate;
  sensors.imu.acc[0] = GetParam().force;
  sensors.baro.pressure = GetParam().pressure;
  sensors.us.altitude = GetParam().ultrasound;
  sensors.tof_vertical.distance = GetParam().tof;
  const estimator_outputs outputs = runSteps(20, sensors);
  std::ostringstream text;
  text << std::fixed << std::setprecision(3);
  for (const float part : outputs.attitude) text << part << " ";
  text << outputs.vertical_position << " " << outputs.vertical_speed;
  EXPECT_EQ(text.str(), GetParam().estimate);
}

constexpr sensor_vector STILL{}, WEIGHT{0, 0, -9.80665F};
constexpr float GROUND = 101325;  // pascals
const char* const LEFT_OUT = "1.000 0.000 0.000 0.000 0.000 0.000";
const Motion MOTIONS[] = {
    {"LargestTurn", {60, 3, 2}, WEIGHT, GROUND, 0, 0, "0.104 0.993 0.051 0.035 -0.026 -0.912"},
    {"LargestForce", STILL, {1, 2, -500}, GROUND, 0, 0, "1.000 0.000 0.000 0.000 1.196 24.465"},
    {"TurnTooLarge", {0, -60.01F, 0}, WEIGHT, GROUND, 0, 0, LEFT_OUT},
    {"ForceTooLarge", STILL, {0, 0, -500.1F}, GROUND, 0, 0, LEFT_OUT},
    {"MostForceToLevel", STILL, {1, 0, -14.67F}, GROUND, 0, 0, "1.000 0.000 0.002 0.000 0.012 0.243"},
    {"ForceTooStrongToLevel", STILL, {1, 0, -14.68F}, GROUND, 0, 0, "1.000 0.000 0.000 0.000 0.012 0.243"},
    {"LowestPressure", STILL, WEIGHT, 10000, 0, 0, "1.000 0.000 0.000 0.000 1401.188 200.000"},
    {"PressureTooLowRangesTooFar", STILL, WEIGHT, 9999, 8.01F, 20.01F, LEFT_OUT},
    {"PressureTooHigh", STILL, WEIGHT, 120001, 0, 0, LEFT_OUT},
    {"LargestUltrasound", STILL, WEIGHT, GROUND, 8, 0, "1.000 0.000 0.000 0.000 3.570 5.312"},
    {"RangeWhileTurningOver", {20, 0, 0}, WEIGHT, GROUND, 1, 0, "0.888 0.460 0.000 0.000 0.326 0.345"},
};
INSTANTIATE_ROWS(Estimator, MOTIONS);

TEST_F(Ostrel, StateFollowsTheCallsAndTheHeight) {
  sensors_data sensors = atRest();
  sensors.baro.pressure = 0;  // none: the height is that of the ultrasound
  const auto stateAfter = [&](const char* api, const std::vector<double>& arguments, float height) {
    sensors.us.altitude = height;
    runSteps(1000, sensors);  // until the estimate has settled
    EXPECT_EQ(call(api, arguments), 0);
    return runSteps(1, sensors).state;
  };
  EXPECT_EQ(stateAfter("take_off", {1}, 0.1F), FLIGHT_STATE_LANDED) << "not armed";
  EXPECT_EQ(stateAfter("set_motors_armed", {1}, 1), FLIGHT_STATE_LANDED);
  EXPECT_EQ(stateAfter("land", {}, 1), FLIGHT_STATE_LANDED);
  EXPECT_EQ(stateAfter("take_off", {1}, 0.69F), FLIGHT_STATE_TAKING_OFF);
  EXPECT_EQ(stateAfter("land", {}, 0.69F), FLIGHT_STATE_LANDING);
  EXPECT_EQ(stateAfter("land", {}, 0.29F), FLIGHT_STATE_LANDED);
  EXPECT_EQ(stateAfter("take_off", {1}, 0.71F), FLIGHT_STATE_FLYING);
  EXPECT_EQ(stateAfter("set_motors_armed", {0}, 1), FLIGHT_STATE_LANDED);
  EXPECT_EQ(stateAfter("emergency_cut", {}, 1), FLIGHT_STATE_EMERGENCY);
  EXPECT_EQ(stateAfter("set_motors_armed", {1}, 1), FLIGHT_STATE_LANDED);
}

}  // namespace
