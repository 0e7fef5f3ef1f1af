#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>

#include "logfile/ReplayExport.hpp"
#include "logfile/TlmbExport.hpp"
#include "ostrel/data_manager.hpp"
#include "ostrel/log_tlmb.h"
#include "support/LogProbe.hpp"

using testing::ElementsAre;
using testing::IsEmpty;

// The services below stand in for the platform's: they show what they are asked, and answer as told.
namespace {

struct Services {
  std::vector<std::string> calls;
  std::map<std::string, int> results;         // by call; 0 where there is none
  std::map<std::string, std::string> stored;  // settings as text; no setting is empty
  int pendingEvents = 0;
  int unanswered = 0;  // events still to be withheld
  const timespec* stamp = nullptr;
};
Services* services = nullptr;
kvs_cb clientCallback = nullptr;
void* clientData = nullptr;

int call(const std::string& text) {
  services->calls.push_back(text);
  return services->results[text];
}

int callAndAnswer(const std::string& text) {
  const int result = call(text);
  if (result >= 0 && services->unanswered-- <= 0) ++services->pendingEvents;
  return result;
}

/// A setting's key without "tlm-blackbox.".
std::string shortened(const char* key) {
  return key + 13;
}

int set(const char* key, const std::string& text) {
  services->stored[key] = text;
  return callAndAnswer("set " + shortened(key) + "=" + text);
}

}  // namespace

// clang-format off
extern "C" {
evl_loop* evl_loop_new(void) { return reinterpret_cast<evl_loop*>(&services); }
void evl_loop_destroy(evl_loop*) { call("loop destroyed"); }
int evl_loop_wait_and_process(evl_loop*, int) {
  call("wait");
  if (services->pendingEvents == 0) return -ETIMEDOUT;
  --services->pendingEvents;
  clientCallback(nullptr, KVS_EVT_CHANGED, nullptr, nullptr, 0, clientData);
  return 1;
}
kvs_ctx* kvs_ctx_new_client(kvs_cb callback, void* userdata) {
  clientCallback = callback;
  clientData = userdata;
  return call("client") < 0 ? nullptr : reinterpret_cast<kvs_ctx*>(&services);
}
int kvs_ctx_evl_loop_register(kvs_ctx*, evl_loop*) { return call("register"); }
int kvs_ctx_evl_loop_unregister(kvs_ctx*, evl_loop*) { return call("unregister"); }
int kvs_ctx_subscribe(kvs_ctx*, const char* key, kvs_cb, void*) { return call("watch " + shortened(key)); }
int kvs_ctx_start(kvs_ctx*) { return callAndAnswer("start"); }
int kvs_ctx_stop(kvs_ctx*) { return call("stop"); }
void kvs_ctx_destroy(kvs_ctx*) { call("client destroyed"); }
int kvs_ctx_get(kvs_ctx*, const char* key, kvs_value* value) {
  const std::string text = services->stored[key];
  if (text.empty()) return -ENOENT;
  value->type = KVS_TYPE_STRING;
  text.copy(value->text, text.size());
  return 0;
}
int kvs_ctx_set(kvs_ctx*, const char* key, const kvs_value* value) {
  return set(key, value->type == KVS_TYPE_STRING ? value->text : "nothing");
}
int kvs_ctx_set_string(kvs_ctx*, const char* key, const char* text) { return set(key, text); }
int kvs_ctx_set_bool(kvs_ctx*, const char* key, bool value) { return set(key, value ? "true" : "false"); }
int kvs_ctx_set_int(kvs_ctx*, const char* key, int value) { return set(key, std::to_string(value)); }
int ostrel_log_tlmb_init(const char* name, int capacity, int rate) {
  return call(std::string("init ") + name + " " + std::to_string(capacity) + " " + std::to_string(rate));
}
int ostrel_log_tlmb_put(const timespec* time) { return services->stamp = time, call("put"); }
int ostrel_log_tlmb_cleanup(void) { return call("cleanup"); }
}
// clang-format on

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
  struct Exporter : TlmbExport {
    using TlmbExport::TlmbExport;
    int close() override { return call("closed"), TlmbExport::close(); }
  };
  fakes.stored = {{"tlm-blackbox.logname", "earlier"}, {"tlm-blackbox.enabled", "maybe"}};
  auto holder = std::make_unique<ReplayExport>();
  holder->exporter = std::make_unique<Exporter>(LogFile::CONTENTS_CONTINUOUS);
  EXPECT_THAT(takeCalls(),
              ElementsAre("client", "register", "init navdata-replay 360000 500", "watch logname",
                          "watch logdir", "watch filter", "watch flushperiod", "watch enabled", "start",
                          "wait", "set enabled=false", "wait", "set flushperiod=1", "wait",
                          "set filter=navdata-replay;ostrellite", "wait"));
  const std::tuple<const char*, const char*, const char*> paths[] = {
      {"/data/run/out.tlmb", "set logname=out.tlmb", "set logdir=/data/run"},
      {"out.tlmb", "set logname=out.tlmb", "set logdir=."},
      {"/out.tlmb", "set logname=out.tlmb", "set logdir="},
      {"dir/", "set logname=", "set logdir=dir"},
  };
  for (const auto& [path, name, directory] : paths) {
    EXPECT_EQ(holder->exporter->open(path), 0);
    EXPECT_THAT(takeCalls(), ElementsAre(name, "wait", directory, "wait", "set enabled=true", "wait"));
  }
  fakes.results["put"] = -ENOSPC;
  EXPECT_EQ(holder->exporter->step(), -ENOSPC);
  EXPECT_EQ(reinterpret_cast<const std::byte*>(fakes.stamp), Dravon3::data_manager()->sensors + 152);
  EXPECT_THAT(takeCalls(), ElementsAre("put"));
  holder.reset();
  std::vector<std::string> calls = takeCalls();
  ASSERT_EQ(calls.size(), 16U);
  std::sort(calls.begin() + 2, calls.end() - 4);  // no order among the settings that go back
  EXPECT_THAT(calls, ElementsAre("closed", "cleanup", "set enabled=maybe", "set filter=nothing",
                                 "set flushperiod=nothing", "set logdir=nothing", "set logname=earlier",
                                 "wait", "wait", "wait", "wait", "wait", "stop", "unregister",
                                 "client destroyed", "loop destroyed"));
  EXPECT_THAT(takeLogLines(), IsEmpty());
}

TEST_F(TlmbExportTest, WithoutASettingsContextItStillPublishes) {
  fakes.results["client"] = -1;
  auto exporter = std::make_unique<TlmbExport>(LogFile::CONTENTS_CONTINUOUS);
  EXPECT_EQ(exporter->open("out"), 0);
  EXPECT_EQ(exporter->step(), 0);
  exporter.reset();
  EXPECT_THAT(takeCalls(),
              ElementsAre("client", "init navdata-replay 360000 500", "put", "cleanup", "loop destroyed"));
  EXPECT_THAT(takeLogLines(), ElementsAre("<4>Could not create KVS context"));
}

TEST_F(TlmbExportTest, RefusedRequestsAreWarningsAndNotWaitedFor) {
  fakes.results = {{"init navdata-replay 360000 500", -ENODEV},
                   {"watch filter", -ENOMEM},
                   {"start", -EIO},
                   {"set enabled=false", -ENOSPC},
                   {"set logdir=.", -EACCES}};
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
  EXPECT_THAT(takeCalls(), testing::Each(testing::Not(testing::StartsWith("init"))));  // events: no stream
}

}  // namespace
