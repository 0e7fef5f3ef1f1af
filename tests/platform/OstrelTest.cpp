#include <gmock/gmock.h>

#include <cerrno>
#include <cmath>

#include "kvs/kvs.h"
#include "ostrel/log_tlmb.h"
#include "platform/OstrelFixture.hpp"
#include "support/LogProbe.hpp"
#include "support/Row.hpp"
#include "support/TestFolder.hpp"
#include "telemetry/blackbox_reader.hpp"

namespace {

using testing::ElementsAre;

struct ApiCall : Row {
  std::vector<double> arguments;  // in the order of their names
  std::string logged;
};
class OstrelApi : public OstrelFixture, public testing::WithParamInterface<ApiCall> {};

TEST_P(OstrelApi, CallIsLoggedAndCounted) {
  takeLogLines();
  EXPECT_EQ(call(GetParam().label, GetParam().arguments), 0);
  EXPECT_THAT(takeLogLines(), ElementsAre("<7>call " + (GetParam().label + GetParam().logged)));
  EXPECT_EQ(run(atRest()).call_count, 1);
}

const ApiCall CALLS[] = {
    {"set_motors_armed", {2}, "(armed=1)"},
    {"take_off", {0.1}, "(altitude=0.10000000149011612)"},
    {"land", {}, "()"},
    {"set_velocity", {1, -2, 0.5, NAN}, "(vx=1, vy=-2, vz=0.5, yaw_rate=nan)"},
    {"set_home", {0.1, 45, 7}, "(amsl_altitude=0.10000000000000001, latitude=45, longitude=7)"},
    {"emergency_cut", {}, "()"},
    {"set_follow_me", {2, 1e10}, "(distance=2, trajectory=-2147483648)"},
};
INSTANTIATE_ROWS(OstrelApi, CALLS);

using Ostrel = OstrelFixture;

TEST_F(Ostrel, SetPointsAreKeptAsAsked) {
  call("set_velocity", {1, -2, 0.5, 4});
  call("set_home", {0.1, 45, 7});
  call("set_follow_me", {2, 3});
  const Dravon3::estimator_outputs outputs = run(atRest());
  EXPECT_THAT(outputs.velocity_setpoint, ElementsAre(1, -2, 0.5));
  EXPECT_EQ(outputs.yaw_rate_setpoint, 4);
  EXPECT_THAT(outputs.home, ElementsAre(0.1, 45, 7));
  EXPECT_EQ(outputs.follow_distance, 2);
  EXPECT_EQ(outputs.follow_trajectory, 3);
  call("set_follow_me", {2, 0});
  EXPECT_EQ(run(atRest()).follow_distance, 0);
}

TEST_F(Ostrel, CallsOutsideAReplayAreRefused) {
  const Api::Input idle(false);
  takeLogLines();
  for (Api::InputBase* each : idle) EXPECT_EQ(each->apply(), -EPERM);
  EXPECT_THAT(takeLogLines(), ElementsAre());
  EXPECT_EQ(run(atRest()).call_count, 0);
}

TEST_F(Ostrel, HasOneInstanceAtATime) {
  EXPECT_EQ(OSTREL_new("quad", "default"), -EEXIST);
  OSTREL_delete();
  EXPECT_EQ(OSTREL_process(), -ENODEV);
  EXPECT_EQ(call("land"), -ENODEV);
  EXPECT_EQ(OSTREL_new("quad", nullptr), -EINVAL);
}

TEST_F(Ostrel, NewInstanceBeginsWithAnEmptyRecord) {
  run(atRest());
  OSTREL_delete();
  OSTREL_new("quad", "default");
  const Dravon3::data_manager_record empty{};
  EXPECT_EQ(std::memcmp(Dravon3::data_manager(), &empty, sizeof(empty)), 0);
}

/// The values of the last sample of a log, by the names of their variables.
struct ExportedValues : telemetry::BlackboxReaderItfCb {
  explicit ExportedValues(const std::string& path) {
    const std::unique_ptr<telemetry::BlackboxReaderItf> reader(telemetry::BlackboxReaderItf::create(this));
    EXPECT_EQ(reader->open(path), 0);
    while (reader->step() == 0) continue;
  }
  void fileHeader(const std::map<std::string, std::string>& values) override { header = values; }
  void sample(unsigned int, const timespec*, unsigned int, const telemetry::VarDesc& variable,
              const void* bytes, std::size_t) override {
    const auto as = [&](auto number) { return std::memcpy(&number, bytes, sizeof number), double(number); };
    byName[variable.name] = variable.type == TLM_VAR_INT32    ? as(std::int32_t{})
                            : variable.type == TLM_VAR_FLOAT  ? as(float{})
                            : variable.type == TLM_VAR_DOUBLE ? as(double{})
                                                              : NAN;
  }
  std::map<std::string, std::string> header;
  std::map<std::string, double> byName;
};

TEST_F(Ostrel, ExportHasEachOutputUnderItsName) {
  const TestFolder folder;
  unsetenv("KVS_FILE");
  kvs_ctx* const settings = kvs_ctx_new_client(nullptr, nullptr);
  ASSERT_EQ(ostrel_log_tlmb_init("nav", 0, 0), 0);
  EXPECT_EQ(ostrel_log_tlmb_init("nav", 0, 0), -EALREADY);
  kvs_ctx_set_string(settings, "tlm-blackbox.logdir", folder.path("").c_str());
  kvs_ctx_set_string(settings, "tlm-blackbox.logname", "log");
  kvs_ctx_set_string(settings, "tlm-blackbox.filter", "nav");
  kvs_ctx_set_bool(settings, "tlm-blackbox.enabled", true);
  // Another number in each field.
  Dravon3::data_manager()->outputs = {5,
                                      101,
                                      102,
                                      103,
                                      104,
                                      1.5F,
                                      {2.5F, 3.5F, 4.5F, 5.5F},
                                      6.5F,
                                      7.5F,
                                      8.5F,
                                      {9.5F, 10.5F, 11.5F},
                                      12.5F,
                                      0,
                                      {13.5, 14.5, 15.5}};
  const timespec now{1, 2};
  EXPECT_EQ(ostrel_log_tlmb_put(&now), 0);
  EXPECT_EQ(ostrel_log_tlmb_cleanup(), 0);
  EXPECT_EQ(ostrel_log_tlmb_put(&now), -ENODEV);
  kvs_ctx_destroy(settings);

  ExportedValues exported(folder.path("log"));
  EXPECT_EQ(exported.header, (std::map<std::string, std::string>{{"ro.hardware", "quad"}}));
  EXPECT_EQ(exported.byName.size(), 138U + 1 + 20);
  const std::map<std::string, double> outputs = {{"step_count", 5},
                                                 {"call_count", 101},
                                                 {"state", 102},
                                                 {"armed", 103},
                                                 {"follow_trajectory", 104},
                                                 {"follow_distance", 1.5},
                                                 {"attitude[0]", 2.5},
                                                 {"attitude[3]", 5.5},
                                                 {"vertical_position", 6.5},
                                                 {"vertical_speed", 7.5},
                                                 {"take_off_altitude", 8.5},
                                                 {"velocity_setpoint[2]", 11.5},
                                                 {"yaw_rate_setpoint", 12.5},
                                                 {"home[0]", 13.5},
                                                 {"home[2]", 15.5}};
  for (const auto& [name, value] : outputs) EXPECT_EQ(exported.byName["outputs." + name], value) << name;
  EXPECT_EQ(exported.byName["index"], 4);
}

}  // namespace
