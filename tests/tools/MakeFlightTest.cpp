#include <gmock/gmock.h>

#include <boost/crc.hpp>
#include <cerrno>
#include <set>

#include "logfile/LegacyReader.hpp"
#include "logfile/ReplayData.hpp"
#include "ostrel/api_input.hpp"
#include "ostrelLog/FlightFiles.hpp"
#include "registry/Introspect.hpp"
#include "support/TestFolder.hpp"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class MadeFlight : public testing::Test {
 protected:
  /// Makes a flight and returns the path of its logs, without their endings.
  std::string make(double seconds, int rate, std::uint64_t seed = 1) {
    const logtool::FlightOptions options{folder.path("flight"), seconds, rate, seed, "hexa-y"};
    EXPECT_EQ(optionsFault(options), "");
    EXPECT_EQ(std::get<logtool::MadeFlight>(makeFlight(options)).columns, 139U);
    return options.name;
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
  const std::tuple<double, int, int> lengths[] = {{0.01, 1, 1},       {1, 200, 200}, {2.5, 333, 833},
                                                  {0.2, 10000, 2000}, {300, 1, 300}, {30, 200, 6000}};
  for (const auto& [seconds, rate, steps] : lengths) {
    SCOPED_TRACE(steps);
    const std::string flight = make(seconds, rate);
    sensors_data sensors{};
    DataRegistry fields;
    Registrator registrator(fields);
    introspect<sensors_data, Registrator>(registrator, sensors, "inputs.sensors");
    testing::internal::CaptureStderr();
    const ReplayData data(flight + ".cont", fields, LogFile::CONTENTS_CONTINUOUS);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::Not(HasSubstr("<4>"))) << "names differ";
    EXPECT_EQ(data.reader->droneVariant, "hexa-y");
    EXPECT_TRUE(fields.frozen);
    double last = 60.0;
    int samples = 0;
    std::map<std::string, std::set<double>> seen;
    for (; data.reader->popSample() == 0; ++samples) {
      EXPECT_EQ(data.index, samples);
      for (DataEntryBase* entry : fields.entryList) seen[entry->name].insert(entry->toRecordFormat());
      const std::size_t count = sensors.imu.nb_samples;
      ASSERT_TRUE(count >= 1 && count <= 5);
      for (std::size_t i = 0; i < count; ++i) {
        const timespec& stamp = sensors.imu.timestamp[i];
        const double time = static_cast<double>(stamp.tv_sec) + 1e-9 * static_cast<double>(stamp.tv_nsec);
        EXPECT_LT(std::exchange(last, time), time) << samples;
      }
    }
    EXPECT_EQ(samples, steps);
    const auto moved =
        std::count_if(seen.begin(), seen.end(), [](auto& one) { return one.second.size() > 1; });
    EXPECT_TRUE(steps < 6000 || moved == 139 - 3) << moved;  // all but the battery's build and age
    EXPECT_NEAR(last, 60.0 + static_cast<double>(steps) / rate, 1.0 / rate);

    Api::Input inputs(true);
    DataRegistry registry;
    for (Api::InputBase* input : inputs) input->registerArgs(registry);
    registry.freeze();
    LegacyReader reader(registry, LogFile::CONTENTS_EVENTS);
    ASSERT_EQ(reader.open((flight + ".events").c_str()), 0);
    EXPECT_EQ(reader.droneVariant, "hexa-y");
    std::vector<std::string> milestones;
    std::vector<int> events;
    for (int step = 0; step < steps; ++step) {
      EXPECT_NE(reader.popSample(step, events), -ENODATA);
      for (const int event : events) {
        const std::string& api = registry.entryList[static_cast<std::size_t>(event)]->name;
        if (api.rfind("set_", 0) != 0 || api == "set_motors_armed") milestones.push_back(api);
      }
    }
    // The reader loses the last record, which must be behind the flight.
    EXPECT_EQ(reader.popSample(steps, events), -ENODATA);
    EXPECT_EQ(events.size(), 1U);
    EXPECT_THAT(milestones, ElementsAre("set_motors_armed", "take_off", "land", "set_motors_armed"));
  }
}

}  // namespace
