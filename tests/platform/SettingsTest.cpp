#include <fcntl.h>
#include <gmock/gmock.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <functional>

#include "kvs/kvs.h"
#include "support/TestFolder.hpp"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string show(const kvs_value& value) {
  switch (value.type) {
    case KVS_TYPE_NONE: return "nothing";
    case KVS_TYPE_BOOL: return value.boolean ? "true" : "false";
    case KVS_TYPE_INT: return std::to_string(value.integer);
    default: return '"' + std::string(value.text) + '"';
  }
}

/// A started client with a loop of its own, and what it has been told: by its own callback as "own ...",
/// by that of a subscription as "sub ...".
class Client {
 public:
  explicit Client(const std::vector<const char*>& keys = {}) : ctx(kvs_ctx_new_client(own, this)) {
    if (ctx == nullptr) return;
    EXPECT_EQ(kvs_ctx_evl_loop_register(ctx, loop), 0);
    for (const char* key : keys) EXPECT_EQ(kvs_ctx_subscribe(ctx, key, subscribed, this), 0);
    EXPECT_EQ(kvs_ctx_start(ctx), 0);
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  ~Client() {
    kvs_ctx_destroy(ctx);
    evl_loop_destroy(loop);
  }

  /// What arrives while the loop is processed, and nothing that came outside of that.
  std::vector<std::string> events() {
    EXPECT_THAT(seen, IsEmpty());
    while (evl_loop_wait_and_process(loop, 0) > 0) continue;
    return std::exchange(seen, {});
  }
  std::string get(const char* key) const {
    kvs_value value;
    const int result = kvs_ctx_get(ctx, key, &value);
    EXPECT_EQ(result, value.type == KVS_TYPE_NONE ? -ENOENT : 0);
    return show(value);
  }

  evl_loop* const loop = evl_loop_new();
  kvs_ctx* const ctx;

 private:
  void note(std::string text, kvs_evt event, const kvs_entry* before, const kvs_entry* after,
            size_t count) {
    EXPECT_EQ(count, event == KVS_EVT_STARTED ? 0U : 1U);
    text += event == KVS_EVT_STARTED ? "started" : after->key;
    if (count == 1) text += ' ' + show(*before->value) + " -> " + show(*after->value);
    seen.push_back(text);
  }
  static void own(kvs_ctx*, kvs_evt event, const kvs_entry* before, const kvs_entry* after, size_t count,
                  void* client) {
    static_cast<Client*>(client)->note("own ", event, before, after, count);
  }
  static void subscribed(kvs_ctx*, kvs_evt event, const kvs_entry* before, const kvs_entry* after,
                         size_t count, void* client) {
    static_cast<Client*>(client)->note("sub ", event, before, after, count);
  }

  std::vector<std::string> seen;
};

/// Runs `body` in a process of its own, with its result as the exit status.
pid_t inChild(const std::function<int()>& body) {
  const pid_t child = fork();
  if (child == 0) _exit(body());
  return child;
}

class Settings : public testing::Test {
 protected:
  Settings() { useFile(file); }
  ~Settings() override { unsetenv("KVS_FILE"); }

  static void useFile(const std::string& path) { setenv("KVS_FILE", path.c_str(), 1); }
  std::vector<std::string> filesLeft() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path(".")))
      names.push_back(entry.path().filename());
    return names;
  }

  const TestFolder folder;
  const std::string file = folder.path("settings");
};

TEST_F(Settings, EverySetIsOneEventToTheSetterAndToEachSubscriber) {
  useFile("");
  Client setter({"a"});
  Client listener({"a", "b"});
  EXPECT_THAT(setter.events(), ElementsAre("own started"));
  EXPECT_THAT(listener.events(), ElementsAre("own started"));

  EXPECT_EQ(kvs_ctx_set_int(setter.ctx, "a", 1), 0);
  EXPECT_EQ(kvs_ctx_set_int(setter.ctx, "a", 1), 0);
  EXPECT_EQ(kvs_ctx_set_bool(setter.ctx, "b", true), 0);
  EXPECT_EQ(kvs_ctx_set_string(setter.ctx, "c", "x"), 0);
  EXPECT_THAT(setter.events(), ElementsAre("sub a nothing -> 1", "sub a 1 -> 1", "own b nothing -> true",
                                           "own c nothing -> \"x\""));
  EXPECT_THAT(listener.events(),
              ElementsAre("sub a nothing -> 1", "sub a 1 -> 1", "sub b nothing -> true"));
}

TEST_F(Settings, AClientThatNeverListensKeepsABoundedNumberOfEventsAndTheLastOfEachKey) {
  Client setter;
  Client listener({"counter", "once"});
  EXPECT_EQ(kvs_ctx_set_int(setter.ctx, "once", 1), 0);
  for (int i = 0; i < 2 * KVS_EVENTS_MAX; ++i) EXPECT_EQ(kvs_ctx_set_int(setter.ctx, "counter", i), 0);
  const auto events = listener.events();
  ASSERT_EQ(events.size(), size_t{KVS_EVENTS_MAX});
  EXPECT_EQ(events[1], "sub once nothing -> 1");
  EXPECT_EQ(events.back(), "sub counter 62 -> 63");
}

TEST_F(Settings, RefusedRequestsHaveNoEventAndChangeNothing) {
  Client client({"a"});
  client.events();
  kvs_value value{};
  value.type = 9;
  EXPECT_EQ(kvs_ctx_set(client.ctx, "a", &value), -EINVAL);
  EXPECT_EQ(kvs_ctx_set(client.ctx, "a", nullptr), -EINVAL);
  EXPECT_EQ(kvs_ctx_set_string(client.ctx, "a", nullptr), -EINVAL);
  EXPECT_EQ(kvs_ctx_set_string(client.ctx, "a", std::string(KVS_TEXT_MAX, 'x').c_str()), -EMSGSIZE);
  for (const char* key : {static_cast<const char*>(nullptr), "", "a b", "a\n", "\x7f"}) {
    EXPECT_EQ(kvs_ctx_set_int(client.ctx, key, 1), -EINVAL);
    EXPECT_EQ(kvs_ctx_get(client.ctx, key, &value), -EINVAL);
    EXPECT_EQ(kvs_ctx_subscribe(client.ctx, key, nullptr, nullptr), -EINVAL);
  }
  EXPECT_THAT(client.events(), IsEmpty());
  EXPECT_THAT(filesLeft(), ElementsAre("settings.lock"));
}

struct Row {
  const char* label;
  std::string bytes;
  std::string expected{};
};
void PrintTo(const Row& row, std::ostream* out) {
  *out << row.label;
}
const auto rowName = [](const auto& row) { return std::string(row.param.label); };

class SettingsFileKept : public Settings, public testing::WithParamInterface<Row> {};
TEST_P(SettingsFileKept, ByteForByteWhenEverySettingIsPutBack) {
  folder.write("settings", GetParam().bytes);
  {
    std::map<std::string, kvs_value> saved{
        {"dir", {}}, {"enabled", {}}, {"filter", {}}, {"name", {}}, {"period", {}}};
    const Client client;
    for (auto& [key, value] : saved) kvs_ctx_get(client.ctx, key.c_str(), &value);
    EXPECT_EQ(kvs_ctx_set_bool(client.ctx, "enabled", false), 0);
    EXPECT_EQ(kvs_ctx_set_int(client.ctx, "period", 1), 0);
    for (const char* key : {"filter", "name", "dir"})
      EXPECT_EQ(kvs_ctx_set_string(client.ctx, key, key), 0);
    EXPECT_EQ(client.get("name"), "\"name\"");
    for (const auto& [key, value] : saved) EXPECT_EQ(kvs_ctx_set(client.ctx, key.c_str(), &value), 0);
  }
  EXPECT_EQ(readFile(file), GetParam().bytes);
  EXPECT_THAT(filesLeft(), ElementsAre("settings"));
}
const Row files[] = {
    {"Empty", ""},
    {"All", "s dir /data\nb enabled true\ns filter a;b\ns name\ni period -7\n"},
    {"CommentsBlankLinesAndOthers", "# mine\n\n  # more\nb enabled true\n\n?? what\ni other 3\n\n"},
    {"NoFinalLineFeed", "i other 3\nb enabled true"},
    {"CarriageReturns", "# mine\r\ns name x\r\nb enabled false\r\n"},
    {"CarriageReturnAtTheEnd", "i period 4\r"},
    {"KeyTwice", "i period 4\nb enabled true\ni period 5\n"},
    {"OtherType", "i name 4\ns period 4\n"},
    {"ReadableByEyeOnly", "i period 007\nb enabled yes\n"},
};
INSTANTIATE_TEST_SUITE_P(Files, SettingsFileKept, testing::ValuesIn(files), rowName);

TEST_F(Settings, WithoutAFileThereIsNoneAfterwards) {
  {
    const Client client;
    EXPECT_EQ(kvs_ctx_set_int(client.ctx, "a", 1), 0);
    EXPECT_EQ(readFile(file), "i a 1\n");
    const kvs_value nothing{};
    EXPECT_EQ(kvs_ctx_set(client.ctx, "a", &nothing), 0);
  }
  EXPECT_THAT(filesLeft(), IsEmpty());
}

class SettingsText : public Settings, public testing::WithParamInterface<Row> {};
TEST_P(SettingsText, ComesBackFromItsLine) {
  { EXPECT_EQ(kvs_ctx_set_string(Client().ctx, "key", GetParam().bytes.c_str()), 0); }
  EXPECT_EQ(readFile(file), GetParam().expected + '\n');
  EXPECT_EQ(Client().get("key"), '"' + GetParam().bytes + '"');
}
const Row texts[] = {
    {"Empty", "", "s key"},
    {"LineEnds", "a\r\nb\n", "s key a%0D%0Ab%0A"},
    {"Percent", "50%0A", "s key 50%250A"},
    {"Backslash", "a\\nb", "s key a\\nb"},
    {"Blanks", "  a b ", "s key %20 a b%20"},
    {"NotAscii", "\xc3\xa9\xff", "s key \xc3\xa9\xff"},
    {"Longest", std::string(KVS_TEXT_MAX - 1, 'x'), "s key " + std::string(KVS_TEXT_MAX - 1, 'x')},
};
INSTANTIATE_TEST_SUITE_P(Texts, SettingsText, testing::ValuesIn(texts), rowName);

TEST_F(Settings, DamagedLinesAreReportedOnceKeptAndNoSettings) {
  std::string bytes = "# head\ni good 1\n";
  for (const std::string& line :
       {std::string("i key"), std::string("s "), std::string("i key 2147483648"), std::string("i key 1a"),
        std::string("b key TRUE"), std::string("f key 1.5"), std::string("s key 50%"),
        std::string("s key a%00b"), std::string("s key a\0b", 9), "s key " + std::string(KVS_TEXT_MAX, 'x'),
        std::string("i\tkey 1")}) {
    bytes += line + '\n';
  }
  folder.write("settings", bytes);
  testing::internal::CaptureStderr();
  const Client client;
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              HasSubstr("Settings file " + file + ", line 3: not a setting, ignored (11 such lines)\n"));
  EXPECT_EQ(client.get("key"), "nothing");
  EXPECT_EQ(kvs_ctx_set_int(client.ctx, "key", 5), 0);
  EXPECT_EQ(client.get("key"), "5");
  EXPECT_EQ(readFile(file), bytes + "i key 5\n");
}

TEST_F(Settings, WhatIsNoSettingsFileIsRefused) {
  folder.makeDirectory("directory");
  mkfifo(folder.path("pipe").c_str(), 0600);
  folder.write("large", std::string((1U << 20) + 1, '\n'));
  for (const char* name : {"directory", "pipe", "large", "missing/settings"}) {
    useFile(folder.path(name));
    testing::internal::CaptureStderr();
    EXPECT_EQ(Client().ctx, nullptr) << name;
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("Can't open settings file " + folder.path(name) + ": "));
  }
  EXPECT_EQ(filesLeft().size(), 3U);
}

TEST_F(Settings, AFailedWriteLeavesMemoryFileAndFolderAsTheyWere) {
  Client client({"a"});
  EXPECT_EQ(kvs_ctx_set_string(client.ctx, "a", "old"), 0);
  client.events();
  const auto tryToSet = [&client] {
    return kvs_ctx_set_string(client.ctx, "a", std::string(2000, 'x').c_str());
  };

  folder.makeDirectory("settings.tmp");
  testing::internal::CaptureStderr();
  EXPECT_EQ(tryToSet(), -EISDIR);
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              HasSubstr("Can't write settings file " + file + ": "));
  std::filesystem::remove(folder.path("settings.tmp"));

  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
  const rlimit small{1000, limit.rlim_max};
  std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &small);
  EXPECT_EQ(tryToSet(), -EFBIG);
  setrlimit(RLIMIT_FSIZE, &limit);

  EXPECT_THAT(client.events(), IsEmpty());
  EXPECT_EQ(client.get("a"), "\"old\"");
  EXPECT_EQ(readFile(file), "s a old\n");
  EXPECT_THAT(filesLeft(), testing::UnorderedElementsAre("settings", "settings.lock"));
}

TEST_F(Settings, AreReplacedBehindALinkWithTheirMode) {
  folder.write("target", "i a 1\n");
  chmod(folder.path("target").c_str(), 0640);
  std::filesystem::create_symlink("target", file);
  EXPECT_EQ(kvs_ctx_set_int(Client().ctx, "a", 2), 0);
  EXPECT_TRUE(std::filesystem::is_symlink(file));
  EXPECT_EQ(readFile(folder.path("target")), "i a 2\n");
  struct stat status {};
  EXPECT_EQ(stat(folder.path("target").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640U);
}

TEST_F(Settings, AreOneProcessesOnlyUntilItIsKilled) {
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t holder = inChild([&ready] {
    const Client client;
    if (kvs_ctx_set_int(client.ctx, "a", 1) != 0 || write(ready[1], "x", 1) != 1) return 1;
    return pause();
  });
  char byte = 0;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  testing::internal::CaptureStderr();
  EXPECT_EQ(Client().ctx, nullptr);
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              HasSubstr("Settings file " + file + " is in use by another process"));
  kill(holder, SIGKILL);
  waitpid(holder, nullptr, 0);
  EXPECT_EQ(Client().get("a"), "1");
  EXPECT_THAT(filesLeft(), ElementsAre("settings"));
}

TEST_F(Settings, ArePutBackOnADiskThatHasBecomeFull) {
  const std::string disk = folder.makeDirectory("disk");
  useFile(disk + "/settings");
  constexpr int noMount = 77;
  const pid_t child = inChild([&disk] {
    if (unshare(CLONE_NEWNS | (geteuid() == 0 ? 0 : CLONE_NEWUSER)) != 0 ||
        mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("disk", disk.c_str(), "tmpfs", 0, "size=128k") != 0) {
      return noMount;
    }
    const std::string before = "s a " + std::string(2000, 'x') + "\nb b true\n";
    std::ofstream(disk + "/settings") << before;
    {
      const Client client;
      if (kvs_ctx_set_int(client.ctx, "a", 1) != 0 || kvs_ctx_set_bool(client.ctx, "b", false) != 0)
        return 1;
      std::ofstream log(disk + "/log");
      while (log << std::string(1024, 'x') << std::flush) continue;
      if (kvs_ctx_set_string(client.ctx, "a", std::string(2000, 'x').c_str()) != 0) return 2;
      if (kvs_ctx_set_bool(client.ctx, "b", true) != 0) return 3;
    }
    return readFile(disk + "/settings") == before ? 0 : 4;
  });
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFEXITED(status) && WEXITSTATUS(status) == noMount) GTEST_SKIP() << "no right to mount a small disk";
  EXPECT_EQ(status, 0);
}

}  // namespace
