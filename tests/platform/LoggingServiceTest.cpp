#include <gmock/gmock.h>
#include <sys/resource.h>

#include <cerrno>
#include <csignal>

#include "blackboxlog/logging_service.hpp"
#include "support/BlackboxBuilder.hpp"
#include "support/LogProbe.hpp"
#include "support/TestClock.hpp"
#include "support/TestFolder.hpp"

namespace {

/// The service, a producer of the section "nav", and a client that changes the settings.
class LoggingService : public testing::Test {
 protected:
  LoggingService() {
    unsetenv("KVS_FILE");
    producer.regInternal(&value, "", "value", TLM_VAR_UINT8, 1, 1, 0, nullptr, 0);
  }
  ~LoggingService() override { kvs_ctx_destroy(settings); }

  void enable(const std::string& directory, const char* filter = "nav") const {
    kvs_ctx_set_string(settings, "tlm-blackbox.logdir", directory.c_str());
    kvs_ctx_set_string(settings, "tlm-blackbox.logname", "log");
    kvs_ctx_set_string(settings, "tlm-blackbox.filter", filter);
    kvs_ctx_set_bool(settings, "tlm-blackbox.enabled", true);
  }
  void disable() const { kvs_ctx_set_bool(settings, "tlm-blackbox.enabled", false); }
  int put(unsigned char next) {
    value = next;
    return service.put(producer, {1, 2});
  }
  static BlackboxBuilder logOf(const std::string& values) {
    BlackboxBuilder log(BlackboxBuilder::Values{{"ro.hardware", "board"}});
    if (!values.empty()) log.addSection(0, "nav", {{"value", TLM_VAR_UINT8, 1, 1}});
    for (const char each : values) log.sample(0, 1, 2, {each});
    return log;
  }

  const TestFolder folder;
  const std::string path = folder.path("log");
  kvs_ctx* const settings = kvs_ctx_new_client(nullptr, nullptr);
  blackboxlog::LoggingService service{{{"ro.hardware", "board"}}};
  unsigned char value = 0;
  telemetry::Producer producer{"nav"};
};

TEST_F(LoggingService, WritesSamplesWhileItIsEnabled) {
  EXPECT_EQ(put('a'), -ENOENT);
  enable(folder.path(""));
  EXPECT_EQ(put('b'), 0);
  EXPECT_EQ(put('c'), 0);
  disable();
  EXPECT_EQ(put('d'), -ESHUTDOWN);
  EXPECT_EQ(readFile(path), logOf("bc").end().bytes);
}

TEST_F(LoggingService, WritesTheSectionsOfTheFilterOnly) {
  const std::pair<const char*, std::string> filters[] = {
      {"nav", "a"}, {"other;nav", "a"}, {"nav;other", "a"}, {"na", ""}, {"navigation", ""}, {"", ""}};
  for (const auto& [filter, written] : filters) {
    enable(folder.path(""), filter);
    EXPECT_EQ(put('a'), 0);
    EXPECT_EQ(service.close(), 0);
    EXPECT_EQ(readFile(path), logOf(written).end().bytes) << filter;
  }
}

TEST_F(LoggingService, HandsSamplesOverOncePerFlushPeriod) {
  kvs_ctx_set_int(settings, "tlm-blackbox.flushperiod", 3);
  enable(folder.path(""));
  put('a');
  testSeconds += 2;
  put('b');
  EXPECT_EQ(readFile(path), logOf("").bytes);
  testSeconds += 1;
  put('c');
  EXPECT_EQ(readFile(path), logOf("abc").bytes);
  testSeconds += 2;
  put('d');
  EXPECT_EQ(readFile(path), logOf("abc").bytes);
}

TEST_F(LoggingService, WithoutAFlushPeriodSamplesAreGathered) {
  enable(folder.path(""));
  testSeconds += 10;
  put('a');
  EXPECT_EQ(readFile(path), logOf("").bytes);
}

TEST_F(LoggingService, FailureLastsUntilAnotherLogIsEnabled) {
  enable(folder.path("missing"));
  EXPECT_EQ(put('a'), -ENOTDIR);
  folder.makeDirectory("missing");
  EXPECT_EQ(put('b'), -ENOTDIR);
  enable(folder.path("missing"));
  EXPECT_EQ(put('c'), 0);
}

TEST_F(LoggingService, EndThatCanNotBeWrittenIsReported) {
  enable(folder.path(""));
  put('a');
  std::signal(SIGXFSZ, SIG_IGN);
  const rlimit tight{1, RLIM_INFINITY}, none{RLIM_INFINITY, RLIM_INFINITY};
  setrlimit(RLIMIT_FSIZE, &tight);
  takeLogLines();
  EXPECT_EQ(service.close(), -EFBIG);
  setrlimit(RLIMIT_FSIZE, &none);
  const std::string log = folder.path("") + "/log";
  EXPECT_THAT(takeLogLines(),
              testing::ElementsAre("<3>Could not write the end of " + log + " : File too large",
                                   "<3>New log " + log + " holds no step"));
}

}  // namespace
