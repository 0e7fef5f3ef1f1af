#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "logfile/ApiArguments.hpp"
#include "ostrel/api_input.hpp"
#include "ostrel/data_manager.hpp"
#include "ostrel/ostrel.h"
#include "registry/SensorRecords.hpp"

/// The library's instance with its API inputs, as a replay holds them.
class OstrelFixture : public testing::Test {
 protected:
  OstrelFixture() {
    for (Api::InputBase* each : input) each->registerArgs(events);
    events.freeze();
    EXPECT_EQ(OSTREL_new("quad", "default"), 0);
  }
  ~OstrelFixture() override { OSTREL_delete(); }

  int call(const std::string& api, const std::vector<double>& values = {}) {
    const DataRegistry& arguments = *argumentRegistry(*events.entries.at(api));
    EXPECT_EQ(arguments.entryList.size(), values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
      double value = values[i];
      arguments.entryList.at(i)->fromRecord(value);
    }
    const auto named = [&api](const Api::InputBase* each) { return each->name == api; };
    return (*std::find_if(input.begin(), input.end(), named))->apply();
  }

  /// Runs one step on these sensors.
  static Dravon3::estimator_outputs run(const sensors_data& sensors) {
    std::memcpy(Dravon3::data_manager()->sensors, &sensors, sizeof(sensors));
    EXPECT_EQ(OSTREL_process(), 0);
    return Dravon3::data_manager()->outputs;
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
