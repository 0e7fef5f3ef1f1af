#include <gmock/gmock.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <numeric>
#include <random>

#include "logfile/ApiArguments.hpp"
#include "ostrel/api_input.hpp"
#include "ostrel/data_manager.hpp"
#include "ostrel/ostrel.h"
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

  int call(const std::string& api, const std::vector<double>& values = {}) {
    const DataRegistry& arguments = *argumentRegistry(*events.entries.at(api));
    EXPECT_TRUE(arguments.frozen && arguments.name.empty() && arguments.entryList.size() == values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
      double value = values[i];
      arguments.entryList.at(i)->fromRecord(value);
    }
    const auto named = [&api](const Api::InputBase* each) { return each->name == api; };
    return (*std::find_if(input.begin(), input.end(), named))->apply();
  }

  // What a step with these sensors gives.
  static estimator_outputs run(const sensors_data& sensors) {
    std::memcpy(Dravon3::data_manager()->sensors, &sensors, sizeof(sensors));
    EXPECT_EQ(OSTREL_process(), 0);
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
      {"set_motors_armed", {2}, "(armed=1)"},
      {"take_off", {0.1}, "(altitude=0.10000000149011612)"},
      {"land", {}, "()"},
      {"set_velocity", {1, -2, 0.5, NAN}, "(vx=1, vy=-2, vz=0.5, yaw_rate=nan)"},
      {"set_home", {0.1, 45, 7}, "(amsl_altitude=0.10000000000000001, latitude=45, longitude=7)"},
      {"emergency_cut", {}, "()"},
      {"set_follow_me", {2, 1e10}, "(distance=2, trajectory=-2147483648)"},
  };
  EXPECT_EQ(events.entryList.size(), calls.size());
  auto inSequence = input.begin();
  int made = 0;
  for (const auto& [api, values, arguments] : calls) {
    EXPECT_EQ((*inSequence++)->name, api);
    EXPECT_EQ(call(api, values), 0);
    EXPECT_THAT(takeLogLines(), ElementsAre("<7>call " + api + arguments));
    EXPECT_EQ(run(atRest()).call_count, ++made);
  }
  const estimator_outputs outputs = run(atRest());
  EXPECT_THAT(outputs.velocity_setpoint, ElementsAre(1, -2, 0.5));
  EXPECT_THAT(outputs.home, ElementsAre(0.1, 45, 7));
  EXPECT_EQ(outputs.follow_distance, 2);
  EXPECT_EQ(outputs.state, Dravon3::FLIGHT_STATE_EMERGENCY);

  const Api::Input idle(false);  // outside a replay
  for (Api::InputBase* each : idle) EXPECT_EQ(each->apply(), -EPERM);
  EXPECT_EQ(run(atRest()).call_count, made);
  EXPECT_EQ(OSTREL_new("quad", "default"), -EEXIST);
  OSTREL_delete();
  EXPECT_EQ(call("land"), -ENODEV);
  EXPECT_EQ(OSTREL_process(), -ENODEV);
  EXPECT_EQ(OSTREL_new("quad", nullptr), -EINVAL);
}

TEST_F(Ostrel, GivesTheSameBitsUnlessAnInputDiffers) {
  const auto fly = [&](int change) {
    OSTREL_delete();
    OSTREL_new("quad", "default");
    for (int i = 0; i < 50; ++i) {
      sensors_data sensors = atRest(static_cast<float>(i) * 0.01F);
      sensors.us.altitude = sensors.tof_vertical.distance = 1;
      if (i == 20) {
        if (change == 1) sensors.imu.gyro[1].x += 1e-3F;
        if (change == 2) sensors.imu.acc[1].z += 1e-3F;
        if (change == 3) sensors.imu.timestamp[1].tv_nsec = 1'000'000;
        if (change == 4) sensors.baro.pressure += 1;
        if (change == 5) sensors.us.altitude += 1e-2F;
        if (change == 6) sensors.tof_vertical.invalid_flags = 1;
      }
      if (i == 30 && change != 7) call("land");
      run(sensors);
    }
    const estimator_outputs& outputs = Dravon3::data_manager()->outputs;
    return std::string(reinterpret_cast<const char*>(&outputs), sizeof(outputs));
  };
  const std::string flight = fly(0);
  EXPECT_EQ(flight, fly(0));
  for (int change = 1; change <= 7; ++change) EXPECT_NE(flight, fly(change)) << change;
}

TEST_F(Ostrel, StaysFiniteWhateverTheSensorsHold) {
  std::mt19937_64 random(7);
  for (int i = 0; i < 20'000; ++i) {
    sensors_data sensors = atRest();
    sensors.imu.nb_samples = 255;
    // Nearly all garbage, or a few wild values among the largest plausible ones.
    for (sensor_vector& acc : sensors.imu.acc) acc.z = i % 4000 < 2000 ? -500 : 500;
    auto* const image = reinterpret_cast<unsigned char*>(&sensors);
    for (std::size_t n = i % 16 == 0 ? 3000 : random() % 8; n > 0; --n) {
      image[random() % (n > 8 ? sizeof(sensors) : 512)] = static_cast<unsigned char>(random());
    }
    const estimator_outputs outputs = run(sensors);
    const double length = std::inner_product(outputs.attitude, outputs.attitude + 4, outputs.attitude, 0.0);
    ASSERT_NEAR(length, 1, 1e-5) << i;
    ASSERT_TRUE(std::isfinite(outputs.vertical_position) && std::isfinite(outputs.vertical_speed)) << i;
  }
}

}  // namespace
