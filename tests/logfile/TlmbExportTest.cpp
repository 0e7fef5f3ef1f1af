#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "logfile/ReplayExport.hpp"
#include "logfile/TlmbExport.hpp"
#include "ostrel/data_manager.hpp"
#include "ostrel/log_tlmb.h"
#include "support/LogProbe.hpp"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

// The services below stand in for the platform's: they show what they are asked, and answer as they are
// told.
namespace {

struct Services {
  std::vector<std::string> calls;
  std::map<std::string, int> results;         // by call; 0 where there is none
  std::map<std::string, std::string> stored;  // settings as text; no setting is empty
  int pendingEvents = 0;
  int unanswered = 0;  // events still to be withheld
  const timespec* stamp = nullptr;

  int call(const std::string& text) {
    calls.push_back(text);
    return results[text];
  }
  int answer(int result) {
    if (result >= 0 && unanswered-- <= 0) ++pendingEvents;
    return result;
  }
};
Services* services = nullptr;
kvs_cb clientCallback = nullptr;
void* clientData = nullptr;

kvs_ctx* const CONTEXT = reinterpret_cast<kvs_ctx*>(&clientData);
evl_loop* const LOOP = reinterpret_cast<evl_loop*>(&services);

std::string textOf(const kvs_value& value) {
  if (value.type == KVS_TYPE_STRING) return value.text;
  if (value.type == KVS_TYPE_BOOL) return value.boolean ? "true" : "false";
  return value.type == KVS_TYPE_INT ? std::to_string(value.integer) : "nothing";
}

int set(const char* key, const std::string& text) {
  services->stored[key] = text;
  return services->answer(services->call(std::string("set ") + (key + 13) + "=" + text));
}

}  // namespace

extern "C" {
evl_loop* evl_loop_new(void) {
  return LOOP;
}
int evl_loop_wait_and_process(evl_loop*, int) {
  services->call("wait");
  if (services->pendingEvents == 0) return -ETIMEDOUT;
  --services->pendingEvents;
  clientCallback(CONTEXT, KVS_EVT_CHANGED, nullptr, nullptr, 0, clientData);
  return 1;
}
void evl_loop_destroy(evl_loop*) {
  services->call("loop destroyed");
}
kvs_ctx* kvs_ctx_new_client(kvs_cb callback, void* userdata) {
  clientCallback = callback;
  clientData = userdata;
  return services->call("client") < 0 ? nullptr : CONTEXT;
}
int kvs_ctx_evl_loop_register(kvs_ctx*, evl_loop*) {
  return services->call("register");
}
int kvs_ctx_evl_loop_unregister(kvs_ctx*, evl_loop*) {
  return services->call("unregister");
}
int kvs_ctx_subscribe(kvs_ctx*, const char* key, kvs_cb, void*) {
  return services->call(std::string("subscribe ") + (key + 13));
}
int kvs_ctx_start(kvs_ctx*) {
  return services->answer(services->call("start"));
}
int kvs_ctx_stop(kvs_ctx*) {
  return services->call("stop");
}
void kvs_ctx_destroy(kvs_ctx*) {
  services->call("client destroyed");
}
int kvs_ctx_get(kvs_ctx*, const char* key, kvs_value* value) {
  const std::string text = services->stored[key];
  if (text.empty()) return -ENOENT;
  value->type = KVS_TYPE_STRING;
  text.copy(value->text, text.size());
  return 0;
}
int kvs_ctx_set(kvs_ctx*, const char* key, const kvs_value* value) {
  return set(key, textOf(*value));
}
int kvs_ctx_set_string(kvs_ctx*, const char* key, const char* text) {
  return set(key, text);
}
int kvs_ctx_set_bool(kvs_ctx*, const char* key, bool value) {
  return set(key, value ? "true" : "false");
}
int kvs_ctx_set_int(kvs_ctx*, const char* key, int value) {
  return set(key, std::to_string(value));
}
void kvs_value_init(kvs_value* value) {
  *value = {};
}
int kvs_value_copy(kvs_value* target, const kvs_value* source) {
  *target = *source;
  return 0;
}
int ostrel_log_tlmb_init(const char* name, int capacity, int rate) {
  return services->call(std::string("init ") + name + " " + std::to_string(capacity) + " " +
                        std::to_string(rate));
}
int ostrel_log_tlmb_put(const timespec* time) {
  services->stamp = time;
  return services->call("put");
}
int ostrel_log_tlmb_cleanup(void) {
  return services->call("cleanup");
}
}

namespace {

class TlmbExportTest : public testing::Test {
 protected:
  TlmbExportTest() {
    services = &fakes;
    takeLogLines();
  }
  std::vector<std::string> takeCalls() { return std::exchange(fakes.calls, {}); }

  Services fakes;
};

TEST_F(TlmbExportTest, BorrowsTheSettingsAndPutsThemBack) {
  fakes.stored = {{"tlm-blackbox.logname", "earlier"}, {"tlm-blackbox.enabled", "maybe"}};
  auto exporter = std::make_unique<TlmbExport>(LogFile::CONTENTS_CONTINUOUS);
  EXPECT_THAT(takeCalls(),
              ElementsAre("client", "register", "init navdata-replay 360000 500", "subscribe logname",
                          "subscribe logdir", "subscribe filter", "subscribe flushperiod",
                          "subscribe enabled", "start", "wait", "set enabled=false", "wait",
                          "set flushperiod=1", "wait", "set filter=navdata-replay;ostrellite", "wait"));
  EXPECT_EQ(exporter->open("/data/run/out.tlmb"), 0);
  EXPECT_THAT(takeCalls(), ElementsAre("set logname=out.tlmb", "wait", "set logdir=/data/run", "wait",
                                       "set enabled=true", "wait"));
  fakes.results["put"] = -ENOSPC;
  EXPECT_EQ(exporter->step(), -ENOSPC);
  EXPECT_EQ(reinterpret_cast<const std::byte*>(fakes.stamp), Dravon3::data_manager()->sensors + 152);
  EXPECT_EQ(exporter->close(), 0);
  takeCalls();

  exporter.reset();
  std::vector<std::string> calls = takeCalls();
  ASSERT_EQ(calls.size(), 15U);
  EXPECT_EQ(calls[0], "cleanup");
  const std::vector<std::string> end(calls.end() - 4, calls.end());
  EXPECT_THAT(end, ElementsAre("stop", "unregister", "client destroyed", "loop destroyed"));
  calls.erase(std::remove(calls.begin(), calls.end(), "wait"), calls.end());
  EXPECT_THAT(std::vector<std::string>(calls.begin() + 1, calls.begin() + 6),
              UnorderedElementsAre("set logname=earlier", "set logdir=nothing", "set filter=nothing",
                                   "set flushperiod=nothing", "set enabled=maybe"));
  EXPECT_THAT(takeLogLines(), IsEmpty());
}

TEST_F(TlmbExportTest, WithoutASettingsContextItStillPublishes) {
  fakes.results["client"] = -1;
  {
    TlmbExport exporter(LogFile::CONTENTS_CONTINUOUS);
    EXPECT_EQ(exporter.open("out"), 0);
    EXPECT_EQ(exporter.step(), 0);
  }
  EXPECT_THAT(takeCalls(),
              ElementsAre("client", "init navdata-replay 360000 500", "put", "cleanup", "loop destroyed"));
  EXPECT_THAT(takeLogLines(), ElementsAre("<4>Could not create KVS context"));
}

TEST_F(TlmbExportTest, RefusedRequestsAreWarningsAndNotWaitedFor) {
  fakes.results = {{"init navdata-replay 360000 500", -ENODEV},
                   {"subscribe filter", -ENOMEM},
                   {"start", -EIO},
                   {"set enabled=false", -ENOSPC},
                   {"set logdir=.", -EACCES}};
  fakes.unanswered = 0;
  TlmbExport exporter(LogFile::CONTENTS_CONTINUOUS);
  exporter.open("out");
  EXPECT_THAT(takeLogLines(), ElementsAre("<4>Could not init Ostrel tlmb log : No such device",
                                          "<4>Could not subscribe : Cannot allocate memory",
                                          "<4>Could not start : Input/output error",
                                          "<4>Could not set : No space left on device",
                                          "<4>Could not set : Permission denied"));
}

TEST_F(TlmbExportTest, ServiceThatNeverAnswersIsGivenUp) {
  fakes.unanswered = 1000;
  const TlmbExport exporter(LogFile::CONTENTS_EVENTS);
  const std::string line = "<4>No answer from the settings service : Connection timed out";
  EXPECT_THAT(takeLogLines(), ElementsAre(line, line, line, line));
  EXPECT_THAT(takeCalls(),
              testing::Not(testing::Contains(testing::StartsWith("init"))));  // events: no stream
}

TEST_F(TlmbExportTest, SplitsThePathAtItsLastSlash) {
  TlmbExport exporter(LogFile::CONTENTS_CONTINUOUS);
  const std::array<const char*, 3> paths[] = {
      {"out.tlmb", "set logname=out.tlmb", "set logdir=."},
      {"/out.tlmb", "set logname=out.tlmb", "set logdir="},
      {"dir/", "set logname=", "set logdir=dir"},
  };
  for (const auto& [path, name, directory] : paths) {
    takeCalls();
    exporter.open(path);
    EXPECT_THAT(takeCalls(), ElementsAre(name, "wait", directory, "wait", "set enabled=true", "wait"));
  }
}

TEST(ReplayExportHolder, ClosesWhatItHoldsOnceAndThenDestroysIt) {
  struct Exporter : LogFile::IExport {
    explicit Exporter(std::string& calls) : seen(calls) {}
    ~Exporter() override { seen += "destroyed"; }
    int open(const char*) override { return -EIO; }
    int close() override {
      seen += "closed ";
      return 0;
    }
    int step() override { return 0; }
    std::string& seen;
  };
  std::string calls;
  { const ReplayExport empty; }
  {
    ReplayExport holder;
    holder.exporter = std::make_unique<Exporter>(calls);
    holder.exporter->open("out");
  }
  EXPECT_EQ(calls, "closed destroyed");
}

}  // namespace
