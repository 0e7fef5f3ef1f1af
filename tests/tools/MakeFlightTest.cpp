#include <gmock/gmock.h>

#include <boost/crc.hpp>
#include <cerrno>
#include <cstring>
#include <set>

#include "logfile/LegacyReader.hpp"
#include "logfile/ReplayData.hpp"
#include "ostrel/api_input.hpp"
#include "ostrelLog/MakeFlight.hpp"
#include "registry/Introspect.hpp"
#include "support/TestFolder.hpp"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Columns = std::map<std::string, std::vector<double>>;

class MadeFlight : public testing::Test {
 protected:
  /// Makes a flight and returns the path of its logs, without their endings.
  std::string make(double seconds, int rate, std::uint64_t seed = 1) {
    const FlightOptions options{folder.path("flight"), seconds, rate, seed, "hexa-y"};
    testing::internal::CaptureStdout();
    EXPECT_EQ(optionsFault(options), "");
    EXPECT_EQ(makeFlight(options), 0);
    EXPECT_THAT(testing::internal::GetCapturedStdout(), HasSubstr(" samples of 139 columns"));
    return options.name;
  }

  /// The sensors' values in every step, by name.
  static Columns readSamples(const std::string& path) {
    sensors_data sensors{};
    DataRegistry registry;
    Registrator registrator(registry);
    introspect<sensors_data, Registrator>(registrator, sensors, "inputs.sensors");
    testing::internal::CaptureStderr();
    const ReplayData data(path, registry, LogFile::CONTENTS_CONTINUOUS);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::Not(HasSubstr("<4>"))) << "names differ";
    EXPECT_EQ(data.reader->droneVariant, "hexa-y");
    Columns columns;
    while (data.reader->popSample() == 0) {
      for (DataEntryBase* entry : registry.entryList)
        columns[entry->name].push_back(entry->toRecordFormat());
    }
    return columns;
  }

  TestFolder folder;
};

// What the compiler, its options or the machine might change shows here. A change of the simulation itself
// changes the numbers too.
TEST_F(MadeFlight, HasTheSameBytesForTheSameSeedOnEveryMachine) {
  const auto checksums = [this](std::uint64_t seed) {
    const std::string flight = make(20, 50, seed);
    std::vector<unsigned> sums;
    for (const char* ending : {".cont", ".events"}) {
      boost::crc_32_type crc;
      const std::string log = readFile(flight + ending), bytes = log.substr(log.find("-- Data\n") + 8);
      crc.process_bytes(bytes.data(), bytes.size());
      sums.push_back(crc.checksum());
    }
    return sums;
  };
  EXPECT_THAT(checksums(7), ElementsAre(2369992840U, 1255145782U));
  EXPECT_NE(checksums(8)[0], 2369992840U);
}

TEST_F(MadeFlight, OfAnyLengthHasAllItsRecordsInOrder) {
  const std::vector<std::tuple<double, int, int>> lengths = {
      {0.01, 1, 1}, {1, 200, 200}, {2.5, 333, 833}, {0.2, 10000, 2000}, {300, 1, 300}};
  for (const auto& [seconds, rate, steps] : lengths) {
    SCOPED_TRACE(steps);
    const std::string flight = make(seconds, rate);
    Columns log = readSamples(flight + ".cont");
    EXPECT_EQ(log["index"].size(), static_cast<std::size_t>(steps));
    double last = 60.0;
    for (std::size_t step = 0; step < log["index"].size(); ++step) {
      EXPECT_EQ(log["index"][step], static_cast<double>(step));
      const double count = log["inputs.sensors.imu.nb_samples"][step];
      EXPECT_TRUE(count >= 1.0 && count <= 5.0);
      for (int i = 0; i < static_cast<int>(count); ++i) {
        const std::string stamp = "inputs.sensors.imu.timestamp[" + std::to_string(i) + "].";
        const double time = log[stamp + "tv_sec"][step] + 1e-9 * log[stamp + "tv_nsec"][step];
        EXPECT_LT(std::exchange(last, time), time) << step;
      }
    }
    EXPECT_NEAR(last, 60.0 + static_cast<double>(steps) / rate, 1.0 / rate);

    const std::string bytes = readFile(flight + ".events");
    double record[3] = {0, 0, 0};  // size in bytes, step, API
    std::size_t at = bytes.find("-- Data\n") + 8;
    for (double before = 0; at < bytes.size(); at += static_cast<std::size_t>(record[0])) {
      ASSERT_LE(at + sizeof record, bytes.size());
      std::memcpy(record, &bytes[at], sizeof record);
      ASSERT_GE(record[0], 24);
      EXPECT_GE(record[1], std::exchange(before, record[1]));
    }
    EXPECT_EQ(at, bytes.size());
    EXPECT_EQ(record[1], steps);  // the reader loses the last record, which must be behind the flight

    Api::Input inputs(true);
    DataRegistry registry;
    for (Api::InputBase* input : inputs) input->registerArgs(registry);
    registry.freeze();
    LegacyReader reader(registry, LogFile::CONTENTS_EVENTS);
    ASSERT_EQ(reader.open((flight + ".events").c_str()), 0);
    EXPECT_EQ(reader.droneVariant, "hexa-y");
    std::vector<std::string> milestones;
    for (int step = 0; step < steps; ++step) {
      std::vector<int> events;
      EXPECT_NE(reader.popSample(step, events), -ENODATA);
      for (const int event : events) {
        const std::string& api = registry.entryList[static_cast<std::size_t>(event)]->name;
        if (api.rfind("set_", 0) != 0 || api == "set_motors_armed") milestones.push_back(api);
      }
    }
    reader.close();
    EXPECT_THAT(milestones, ElementsAre("set_motors_armed", "take_off", "land", "set_motors_armed"));
  }
}

TEST_F(MadeFlight, GivesSensorsThatMoveAndAgree) {
  const Columns log = readSamples(make(30, 200) + ".cont");
  std::vector<std::string> constant;
  for (const auto& [name, values] : log) {
    if (std::set<double>(values.begin(), values.end()).size() == 1) constant.push_back(name.substr(15));
  }
  // A battery's build and age.
  EXPECT_THAT(constant, ElementsAre("battery.capacity", "battery.cycle_count", "battery.full_charge_cap"));

  const auto column = [&log](const std::string& name) { return log.at("inputs.sensors." + name); };
  const auto altitude = column("gps.location.amsl_altitude"), down = column("imu.acc[0].z");
  const auto turn = column("imu.gyro[0].z"), pressure = column("baro.pressure");
  const auto ultrasound = column("us.altitude"), tof = column("tof_vertical.distance");
  const auto invalid = column("tof_vertical.invalid_flags"), flags = column("flags");
  double turned = 0.0, highest = 0.0;
  for (std::size_t step = 0; step < down.size(); ++step) {
    SCOPED_TRACE(step);
    const double height = altitude[step] - 240.0;
    turned += turn[step] / 200.0;
    highest = std::max(highest, height);
    EXPECT_NEAR(down[std::min(step, std::size_t{100})], -9.8, 0.3);  // at rest
    EXPECT_NEAR((pressure[0] - pressure[step]) / 11.7, height, 3.0);
    EXPECT_TRUE(ultrasound[step] == 0.0 ||
                (ultrasound[step] <= 6.1 && std::abs(ultrasound[step] - height) < 3));
    EXPECT_EQ(tof[step] == 0.0, invalid[step] == 1.0);
  }
  EXPECT_NEAR(turned, 4 * 1.5708, 0.3);  // once round the square
  EXPECT_GT(highest, 6.5);
  EXPECT_LT(ultrasound.back(), 0.1);  // landed

  unsigned bit = 1;
  for (const char* name :
       {"baro.pressure", "magneto.x", "gps.extra_eride.up_vel", "battery.current", "motors.vbat"}) {
    const auto values = column(name);
    bit *= 2;
    for (std::size_t step = 1; step < flags.size(); ++step)
      EXPECT_EQ((static_cast<unsigned>(flags[step]) & bit) != 0, values[step] != values[step - 1])
          << name << step;
  }
}

}  // namespace
