#include <gmock/gmock.h>

#include <algorithm>
#include <boost/crc.hpp>
#include <cerrno>
#include <cstdint>
#include <memory>
#include <numeric>
#include <set>

#include "logfile/LegacyReader.hpp"
#include "ostrel/api_input.hpp"
#include "ostrelLog/LegacyWriter.hpp"
#include "ostrelLog/MakeFlight.hpp"
#include "tools/ParsedLog.hpp"

namespace {

using testing::AllOf;
using testing::AnyOf;
using testing::DoubleNear;
using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::IsSupersetOf;
using testing::Le;

class MadeFlight : public testing::Test {
 protected:
  /// Makes a flight under this name and returns the path of its logs, without their endings.
  std::string make(const std::string& name, double seconds, int rate, std::uint64_t seed = 1,
                   const std::string& variant = "quad-x") {
    const FlightOptions options{folder.path(name), seconds, rate, seed, variant};
    testing::internal::CaptureStdout();
    EXPECT_EQ(optionsFault(options), "");
    EXPECT_EQ(makeFlight(options), 0);
    said = testing::internal::GetCapturedStdout();
    return options.name;
  }

  TestFolder folder;
  std::string said;  // by the last make(), on standard output
};

struct Call {
  int step;
  std::string api;
  std::vector<double> arguments;
};

/// The calls of an event log, whose records must fit its header and be in order.
std::vector<Call> readCalls(const std::string& path) {
  const ParsedLog log(path);
  const std::vector<std::string> titles = log.list("titles");
  const std::vector<std::string> counts = log.list("argNb");
  std::vector<Call> calls;
  for (std::size_t at = 0; at + 3 <= log.values.size();) {
    const auto api = static_cast<std::size_t>(log.values[at + 2]);
    const std::size_t end = at + 3 + static_cast<std::size_t>(std::stoi(counts.at(api)));
    EXPECT_EQ(log.values[at], static_cast<double>(8 * (end - at)));
    if (end > log.values.size()) return calls;
    const auto value = [&log](std::size_t index) {
      return log.values.begin() + static_cast<std::ptrdiff_t>(index);
    };
    calls.push_back({static_cast<int>(log.values[at + 1]), titles.at(api), {value(at + 3), value(end)}});
    at = end;
  }
  const auto earlier = [](const Call& a, const Call& b) { return a.step < b.step; };
  EXPECT_TRUE(std::is_sorted(calls.begin(), calls.end(), earlier));
  return calls;
}

std::uint32_t checksum(const std::string& bytes) {
  boost::crc_32_type crc;
  crc.process_bytes(bytes.data(), bytes.size());
  return crc.checksum();
}

// What the compiler, its options or the machine might change shows here. A change of the simulation itself
// changes the numbers too.
TEST_F(MadeFlight, HasTheSameBytesOnEveryMachine) {
  const std::string flight = make("flight", 20, 50, 7);
  EXPECT_EQ(checksum(ParsedLog(flight + ".cont").data), 2369992840U);
  EXPECT_EQ(checksum(ParsedLog(flight + ".events").data), 1255145782U);
}

TEST_F(MadeFlight, DependsOnTheSeedAndShowsTheVariantInItsHeaders) {
  const std::string first = make("first", 2, 100, 5);
  const std::string again = make("again", 2, 100, 5);
  const std::string hexa = make("hexa", 2, 100, 5, "hexa-y");
  const std::string other = make("other", 2, 100, 6);
  for (const char* ending : {".cont", ".events"}) {
    EXPECT_EQ(readFile(first + ending), readFile(again + ending));
    EXPECT_EQ(ParsedLog(first + ending).data, ParsedLog(hexa + ending).data);
  }
  EXPECT_EQ(ParsedLog(hexa + ".cont").header.at("ro.hardware"), "hexa-y");
  EXPECT_EQ(ParsedLog(hexa + ".events").header.at("product"), "hexa-y");
  EXPECT_NE(ParsedLog(first + ".cont").data, ParsedLog(other + ".cont").data);
}

struct Duration {
  const char* label;
  double seconds;
  int rate;
  std::size_t samples;
};
void PrintTo(const Duration& row, std::ostream* out) {
  *out << row.label;
}

class MadeFlightOfAnyLength : public MadeFlight, public testing::WithParamInterface<Duration> {};

TEST_P(MadeFlightOfAnyLength, HasOneWholeRecordPerStep) {
  const std::string flight = make("flight", GetParam().seconds, GetParam().rate);
  const ParsedLog log(flight + ".cont");
  EXPECT_EQ(log.data.size(), GetParam().samples * 139 * 8);
  EXPECT_EQ(log.header.at("nentries"), "139");
  EXPECT_EQ(log.header.at("rate"), std::to_string(GetParam().rate));
  const std::vector<std::string> titles = log.list("titles");
  EXPECT_EQ(titles.front(), "index");
  EXPECT_EQ(std::set<std::string>(titles.begin(), titles.end()).size(), 139U);
  std::vector<double> steps(GetParam().samples);
  std::iota(steps.begin(), steps.end(), 0.0);
  EXPECT_EQ(log.column("index"), steps);
  EXPECT_THAT(said, testing::StartsWith(flight + ".cont: " + std::to_string(steps.size()) + " samples"));
}

TEST_P(MadeFlightOfAnyLength, StampsInertialSamplesInOrder) {
  const ParsedLog log(make("flight", GetParam().seconds, GetParam().rate) + ".cont");
  const std::vector<double> counts = log.column("imu.nb_samples");
  EXPECT_THAT(counts, Each(AllOf(Ge(1.0), Le(5.0))));
  std::vector<std::vector<double>> stamps;
  for (int i = 0; i < 5; ++i) {
    const std::string stamp = "imu.timestamp[" + std::to_string(i) + "].";
    stamps.push_back(log.column(stamp + "tv_sec"));
    const std::vector<double> nanoseconds = log.column(stamp + "tv_nsec");
    for (std::size_t k = 0; k < nanoseconds.size(); ++k) stamps.back()[k] += 1e-9 * nanoseconds[k];
  }
  double last = 60.0;
  for (std::size_t k = 0; k < counts.size(); ++k) {
    for (std::size_t i = 0; i < static_cast<std::size_t>(counts[k]); ++i) {
      EXPECT_GT(stamps[i][k], last);
      last = stamps[i][k];
    }
  }
  EXPECT_NEAR(last, 60.0 + static_cast<double>(counts.size()) / GetParam().rate, 1.0 / GetParam().rate);
}

TEST_P(MadeFlightOfAnyLength, CallsTheApiInTheOrderOfAFlight) {
  const std::vector<Call> calls =
      readCalls(make("flight", GetParam().seconds, GetParam().rate) + ".events");
  std::vector<std::string> milestones;
  for (const Call& call : calls) {
    if (call.api == "set_velocity" || call.api == "set_home" || call.api == "set_follow_me") continue;
    milestones.push_back(call.api);
    EXPECT_LT(call.step, static_cast<int>(GetParam().samples));
  }
  EXPECT_THAT(milestones, ElementsAre("set_motors_armed", "take_off", "land", "set_motors_armed"));
  EXPECT_EQ(calls.back().api, "set_home");
  EXPECT_EQ(calls.back().step, static_cast<int>(GetParam().samples));
}

// The reader drops what it applied in the call that meets the end of the log.
TEST_P(MadeFlightOfAnyLength, LosesNoCallWhenReplayed) {
  const std::string flight = make("flight", GetParam().seconds, GetParam().rate);
  Api::Input inputs(true);
  DataRegistry registry;
  for (Api::InputBase* input : inputs) input->registerArgs(registry);
  registry.freeze();
  const std::unique_ptr<LogFile::IReader> reader(LegacyReader::create(registry, LogFile::CONTENTS_EVENTS));
  ASSERT_EQ(reader->open((flight + ".events").c_str()), 0);
  EXPECT_EQ(reader->droneVariant, "quad-x");

  std::vector<std::string> applied;
  for (int step = 0; step < static_cast<int>(GetParam().samples); ++step) {
    std::vector<int> events;
    const int result = reader->popSample(step, events);
    EXPECT_EQ(result, events.empty() ? -EAGAIN : static_cast<int>(events.size()));
    for (const int event : events)
      applied.push_back(registry.entryList[static_cast<std::size_t>(event)]->name);
  }
  reader->close();
  std::vector<std::string> recorded;
  for (const Call& call : readCalls(flight + ".events")) recorded.push_back(call.api);
  recorded.pop_back();
  EXPECT_EQ(applied, recorded);
}

INSTANTIATE_TEST_SUITE_P(Lengths, MadeFlightOfAnyLength,
                         testing::ValuesIn<Duration>({
                             {"OneStepAtTheLeast", 0.01, 1, 1},
                             {"OneSecond", 1.0, 200, 200},
                             {"RoundedToTheNearestStep", 2.5, 333, 833},
                             {"HighestRate", 0.2, 10000, 2000},
                             {"LowestRate", 300.0, 1, 300},
                         }),
                         [](const auto& row) { return std::string(row.param.label); });

TEST_F(MadeFlight, MovesEverySensor) {
  const ParsedLog log(make("flight", 30, 200) + ".cont");
  const std::vector<std::string> titles = log.list("titles");
  std::vector<std::string> constant;
  for (std::size_t column = 0; column < titles.size(); ++column) {
    std::size_t row = column;
    while (row < log.values.size() && log.values[row] == log.values[column]) row += titles.size();
    if (row >= log.values.size()) constant.push_back(titles[column]);
  }
  // A battery's build and age.
  EXPECT_THAT(constant, ElementsAre("inputs.sensors.battery.capacity", "inputs.sensors.battery.cycle_count",
                                    "inputs.sensors.battery.full_charge_cap"));
}

TEST_F(MadeFlight, GivesSensorsThatAgree) {
  const ParsedLog log(make("flight", 30, 200) + ".cont");
  const auto height = [altitude = log.column("gps.location.amsl_altitude")](std::size_t step) {
    return altitude[step] - 240.0;
  };
  const auto down = log.column("imu.acc[0].z");
  const auto turn = log.column("imu.gyro[0].z");
  const auto pressure = log.column("baro.pressure");
  const auto ultrasound = log.column("us.altitude");
  const auto tof = log.column("tof_vertical.distance");
  const auto invalid = log.column("tof_vertical.invalid_flags");
  const auto charge = log.column("battery.remaining_cap");
  for (std::size_t step = 0; step < 100; ++step) EXPECT_NEAR(down[step], -9.8, 0.3);  // at rest
  EXPECT_TRUE(std::is_sorted(charge.rbegin(), charge.rend()));
  double turned = 0.0;
  double highest = 0.0;
  for (std::size_t step = 0; step < down.size(); ++step) {
    turned += turn[step] / 200.0;
    highest = std::max(highest, height(step));
    EXPECT_NEAR((pressure[0] - pressure[step]) / 11.7, height(step), 3.0) << step;
    EXPECT_THAT(ultrasound[step], AnyOf(0.0, AllOf(Le(6.1), DoubleNear(height(step), 3.0)))) << step;
    EXPECT_LT(tof[step], 4.1);
    EXPECT_EQ(tof[step] == 0.0, invalid[step] == 1.0) << step;
  }
  EXPECT_NEAR(turned, 4 * 1.5708, 0.3);  // once round the square
  EXPECT_GT(highest, 6.5);
  EXPECT_NEAR(height(down.size() - 1), 0.0, 2.5);
  EXPECT_LT(ultrasound.back(), 0.1);  // landed
}

TEST_F(MadeFlight, FlagsWhatIsNewInAStep) {
  const ParsedLog log(make("flight", 10, 200) + ".cont");
  const auto flags = log.column("flags");
  const auto baro = log.column("baro.flags");
  const std::vector<std::pair<unsigned, std::string>> sensors = {{2, "baro.pressure"},
                                                                 {4, "magneto.x"},
                                                                 {8, "gps.extra_eride.up_vel"},
                                                                 {16, "battery.current"},
                                                                 {32, "motors.vbat"}};
  for (const auto& [bit, name] : sensors) {
    const auto values = log.column(name);
    for (std::size_t step = 1; step < flags.size(); ++step) {
      const bool isNew = (static_cast<unsigned>(flags[step]) & bit) != 0;
      EXPECT_EQ(isNew, values[step] != values[step - 1]) << name << " at " << step;
    }
  }
  std::set<double> seen(flags.begin(), flags.end());
  EXPECT_THAT(seen, IsSupersetOf({1.0, 63.0}));
  for (std::size_t step = 0; step < flags.size(); ++step) {
    EXPECT_EQ((static_cast<unsigned>(flags[step]) & 2U) != 0, baro[step] == 1.0);
  }
}

TEST(LegacyEventWriter, RecordsValuesAsTheArgumentHoldsThem) {
  const TestFolder folder;
  OutputFile file(folder.path("calls"));
  ASSERT_EQ(file.open(), 0);
  LegacyEventWriter writer;
  ASSERT_EQ(writer.begin(file, {"a log", 200, "quad-x"}), 0);
  EXPECT_EQ(writer.write({3, "take_off", {{"altitude", 0.1}}}), 0);
  EXPECT_EQ(writer.write({4, "set_home", {{"longitude", 3}, {"latitude", 2}, {"amsl_altitude", 1}}}), 0);
  // What the library doesn't have in this form leaves no trace.
  EXPECT_EQ(writer.write({5, "hover", {}}), -ENOSYS);
  EXPECT_EQ(writer.write({5, "land", {{"altitude", 1}}}), -ENOSYS);
  EXPECT_EQ(writer.write({5, "take_off", {}}), -ENOSYS);
  EXPECT_EQ(writer.write({5, "take_off", {{"height", 1}}}), -ENOSYS);
  ASSERT_EQ(file.close(), 0);
  const std::vector<Call> calls = readCalls(file.path);
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_THAT(calls[0].arguments, ElementsAre(0.1F));
  EXPECT_THAT(calls[1].arguments, ElementsAre(1.0, 2.0, 3.0));  // by name, whatever the sequence
}

}  // namespace
