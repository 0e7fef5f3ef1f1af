#include <gmock/gmock.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "ostrel/api_input.hpp"
#include "ostrel/data_manager.hpp"
#include "ostrel/ostrel.h"
#include "ostrel/utils.hpp"
#include "registry/DataRegistry.hpp"
#include "registry/SensorRecords.hpp"
#include "support/LogProbe.hpp"

namespace {

using Dravon3::estimator_outputs;
using testing::ElementsAre;

// The library's instance with its API inputs, as a replay holds them.
class Ostrel : public testing::Test {
 protected:
  Ostrel() {
    for (Api::InputBase* call : input) call->registerArgs(events);
    events.freeze();
    EXPECT_EQ(OSTREL_new("quad", "default"), 0);
    takeLogLines();
  }
  ~Ostrel() override { OSTREL_delete(); }

  // The argument registry of an API, by the path that a reader of recorded calls takes.
  const DataRegistry& argumentsOf(const std::string& api) const {
    const auto entry = reinterpret_cast<const char*>(events.entries.at(api));
    const char* bound = nullptr;
    std::memcpy(&bound, entry + sizeof(DataEntryBase), sizeof(bound));
    const DataRegistry* arguments = nullptr;
    std::memcpy(&arguments, bound + sizeof(void*), sizeof(void*));
    return *arguments;
  }

  int call(const std::string& api, std::vector<double> values = {}) {
    const DataRegistry& arguments = argumentsOf(api);
    EXPECT_EQ(arguments.entryList.size(), values.size()) << api;
    for (std::size_t i = 0; i < values.size(); ++i) arguments.entryList.at(i)->fromRecord(values[i]);
    for (Api::InputBase* each : input) {
      if (each->name == api) return each->apply();
    }
    return -ENOENT;
  }

  // Steps with these sensors; what the last one gives.
  static estimator_outputs run(const sensors_data& sensors, int steps = 1) {
    for (int i = 0; i < steps; ++i) {
      std::memcpy(Dravon3::data_manager()->sensors, &sensors, sizeof(sensors));
      EXPECT_EQ(OSTREL_process(), 0);
    }
    return Dravon3::data_manager()->outputs;
  }

  static sensors_data atRest(float height = 0) {
    sensors_data sensors{};
    sensors.imu.nb_samples = 2;
    sensors.imu.acc[0].z = sensors.imu.acc[1].z = -9.80665F;
    sensors.baro.pressure = 101325 - 12 * height;
    return sensors;
  }

  Api::Input input{true};
  DataRegistry events;
};

TEST_F(Ostrel, MakesEachCallWithItsArgumentsInNameOrder) {
  const std::vector<std::tuple<std::string, std::vector<double>, std::string>> calls = {
      {"set_motors_armed", {2}, "call set_motors_armed(armed=1)"},
      {"take_off", {0.1}, "call take_off(altitude=0.10000000149011612)"},
      {"land", {}, "call land()"},
      {"set_velocity", {1, -2, 0.5, NAN}, "call set_velocity(vx=1, vy=-2, vz=0.5, yaw_rate=nan)"},
      {"set_home",
       {0.1, 45, 7},
       "call set_home(amsl_altitude=0.10000000000000001, latitude=45, longitude=7)"},
      {"emergency_cut", {}, "call emergency_cut()"},
      {"set_follow_me", {2, 1e10}, "call set_follow_me(distance=2, trajectory=-2147483648)"},
  };
  EXPECT_EQ(events.entryList.size(), calls.size());
  auto inSequence = input.begin();
  int made = 0;
  for (const auto& [api, values, line] : calls) {
    EXPECT_EQ((*inSequence++)->name, api);
    EXPECT_TRUE(argumentsOf(api).frozen && argumentsOf(api).name.empty());
    EXPECT_EQ(call(api, values), 0);
    EXPECT_THAT(takeLogLines(), ElementsAre("<7>" + line));
    EXPECT_EQ(run(atRest()).call_count, ++made);
  }
  const estimator_outputs outputs = run(atRest());
  EXPECT_THAT(outputs.velocity_setpoint, ElementsAre(1, -2, 0.5));
  EXPECT_THAT(outputs.home, ElementsAre(0.1, 45, 7));
  EXPECT_EQ(outputs.follow_distance, 2);
}

TEST_F(Ostrel, RefusesCallsOutsideAReplayOrWithoutAnInstance) {
  const Api::Input idle(false);
  for (Api::InputBase* each : idle) EXPECT_EQ(each->apply(), -EPERM);
  EXPECT_EQ(run(atRest()).call_count, 0);
  EXPECT_THAT(takeLogLines(), testing::Not(testing::Contains(testing::HasSubstr("call"))));
  EXPECT_EQ(OSTREL_new("quad", "default"), -EEXIST);
  OSTREL_delete();
  EXPECT_EQ(call("land"), -ENODEV);
  EXPECT_EQ(OSTREL_process(), -ENODEV);
  EXPECT_EQ(OSTREL_new("quad", nullptr), -EINVAL);
  ASSERT_EQ(OSTREL_new("quad", "default"), 0);
  const auto* const record = reinterpret_cast<const char*>(Dravon3::data_manager());
  EXPECT_EQ(std::string(record, sizeof(Dravon3::data_manager_record)),
            std::string(sizeof(Dravon3::data_manager_record), '\0'));
}

TEST_F(Ostrel, FollowsAFlight) {
  const auto stateAfter = [&](const char* api, const std::vector<double>& values = {}) {
    call(api, values);
    return run(atRest()).state;
  };
  EXPECT_EQ(stateAfter("take_off", {2}), Dravon3::FLIGHT_STATE_LANDED);  // not armed
  stateAfter("set_motors_armed", {1});
  EXPECT_EQ(stateAfter("take_off", {2}), Dravon3::FLIGHT_STATE_TAKING_OFF);
  estimator_outputs climbing{};
  for (int i = 0; i < 2000; ++i) climbing = run(atRest(static_cast<float>(i) * 0.005F));
  EXPECT_NEAR(climbing.vertical_speed, 1, 0.01);
  EXPECT_EQ(climbing.state, Dravon3::FLIGHT_STATE_FLYING);
  sensors_data low = atRest(2);
  low.us.altitude = low.tof_vertical.distance = 0.5;  // a drifted barometer: the range sensors outweigh it
  EXPECT_NEAR(run(low, 2000).vertical_position, 0.55, 0.05);
  EXPECT_EQ(stateAfter("land"), Dravon3::FLIGHT_STATE_LANDING);
  EXPECT_EQ(run(atRest(), 2000).state, Dravon3::FLIGHT_STATE_LANDED);
  EXPECT_EQ(stateAfter("emergency_cut"), Dravon3::FLIGHT_STATE_EMERGENCY);
  EXPECT_EQ(stateAfter("set_motors_armed", {1}), Dravon3::FLIGHT_STATE_LANDED);
}

TEST_F(Ostrel, LevelsByGravityAndTurnsByGyro) {
  sensors_data rolled = atRest();  // 30 degrees to the right
  for (sensor_vector& acc : rolled.imu.acc) acc = {0, -9.80665F * 0.5F, -9.80665F * 0.8660254F};
  rolled.baro.pressure = 0;
  rolled.us.altitude = 1;  // along the tilted axis
  EXPECT_NEAR(run(rolled, 4000).attitude[1], 0.258819, 1e-3);
  EXPECT_NEAR(run(rolled).vertical_position, 0.8660254, 1e-3);
  EXPECT_NEAR(run(atRest(), 4000).attitude[1], 0, 1e-3);
  sensors_data turning = atRest();
  turning.imu.acc[0].z = turning.imu.acc[1].z = -40;  // too strong to tell down
  turning.imu.gyro[0].y = turning.imu.gyro[1].y = 1;
  for (int i = 0; i < 100; ++i) {  // 10 ms a step, by the stamps
    turning.imu.timestamp[0] = {5, i * 10'000'000 + 1};
    turning.imu.timestamp[1] = {5, i * 10'000'000 + 5'000'001};
    run(turning);
  }
  EXPECT_NEAR(Dravon3::data_manager()->outputs.attitude[2], std::sin(0.5), 3e-3);
}

TEST_F(Ostrel, GivesTheSameBitsUnlessAnInputDiffers) {
  using Change = std::function<void(sensors_data&)>;
  const auto fly = [&](const Change& change, bool landed) {
    OSTREL_delete();
    OSTREL_new("quad", "default");
    for (int i = 0; i < 50; ++i) {
      sensors_data sensors = atRest(static_cast<float>(i) * 0.01F);
      sensors.us.altitude = sensors.tof_vertical.distance = 1;
      if (i == 20) change(sensors);
      if (i == 30 && landed) call("land");
      run(sensors);
    }
    const estimator_outputs& outputs = Dravon3::data_manager()->outputs;
    return std::string(reinterpret_cast<const char*>(&outputs), sizeof(outputs));
  };
  const Change none = [](sensors_data&) {};
  const std::string flight = fly(none, true);
  EXPECT_EQ(flight, fly(none, true));
  EXPECT_NE(flight, fly(none, false));
  const std::vector<Change> changes = {
      [](sensors_data& sensors) { sensors.imu.gyro[1].x += 1e-3F; },
      [](sensors_data& sensors) { sensors.imu.acc[1].z += 1e-3F; },
      [](sensors_data& sensors) { sensors.imu.timestamp[1].tv_nsec = 1'000'000; },
      [](sensors_data& sensors) { sensors.baro.pressure += 1; },
      [](sensors_data& sensors) { sensors.us.altitude += 1e-2F; },
      [](sensors_data& sensors) { sensors.tof_vertical.invalid_flags = 1; },
  };
  for (std::size_t i = 0; i < changes.size(); ++i) EXPECT_NE(flight, fly(changes[i], true)) << i;
}

TEST_F(Ostrel, StaysFiniteWhateverTheSensorsHold) {
  std::mt19937_64 random(7);
  for (int i = 0; i < 20'000; ++i) {
    sensors_data sensors = atRest();
    sensors.imu.nb_samples = 255;
    auto* const image = reinterpret_cast<unsigned char*>(&sensors);
    if (i % 4 == 0) {
      for (std::size_t at = 0; at < sizeof(sensors); ++at) image[at] = static_cast<unsigned char>(random());
    } else {  // a few wild values among plausible ones, the largest plausible ones too
      for (std::size_t n = random() % 8; n > 0; --n) {
        image[random() % 512] = static_cast<unsigned char>(random());
      }
      for (sensor_vector& acc : sensors.imu.acc) acc.z = i % 4000 < 2000 ? -500 : 500;
    }
    const estimator_outputs outputs = run(sensors);
    double length = 0;
    for (const float part : outputs.attitude) length += static_cast<double>(part) * part;
    ASSERT_NEAR(length, 1, 1e-5) << i;
    ASSERT_TRUE(std::isfinite(outputs.vertical_position) && std::isfinite(outputs.vertical_speed)) << i;
  }
  sensors_data rising = atRest();
  rising.baro.pressure = 0;  // nothing holds the height
  rising.imu.acc[0].z = -500;
  EXPECT_EQ(run(rising, 20'000).vertical_position, 10e3F);
}

TEST(OstrelUtils, SplitsAndRemovesSpaces) {
  using ::Ostrel::Utils::splitString;
  EXPECT_THAT(splitString("a,,b,", ','), ElementsAre("a", "", "b", ""));
  EXPECT_THAT(splitString("a", ','), ElementsAre("a"));
  EXPECT_THAT(splitString("", ','), ElementsAre(""));
  std::string text = " a\t\n\v\f\rb\xa0 ";
  ::Ostrel::Utils::removeSpaces(text);
  EXPECT_EQ(text, "ab\xa0");
}

}  // namespace
