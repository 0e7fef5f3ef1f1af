#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "kvs/kvs.h"
#include "support/Row.hpp"
#include "support/TestFolder.hpp"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

std::string show(const kvs_value& value) {
  if (value.type == KVS_TYPE_BOOL) return value.boolean ? "true" : "false";
  if (value.type == KVS_TYPE_INT) return std::to_string(value.integer);
  return value.type == KVS_TYPE_STRING ? '"' + std::string(value.text) + '"' : "nothing";
}

/// A started client with a loop of its own. It notes its events: those of subscribed keys as "watched:
/// ...".
struct Client {
  explicit Client(const std::vector<const char*>& keys = {}) : ctx(kvs_ctx_new_client(note<false>, this)) {
    kvs_ctx_evl_loop_register(ctx, loop);
    for (const char* key : keys) EXPECT_EQ(kvs_ctx_subscribe(ctx, key, note<true>, this), 0);
    kvs_ctx_start(ctx);
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  ~Client() {
    kvs_ctx_destroy(ctx);
    evl_loop_destroy(loop);
  }
  /// The events that arrive while the loop is processed; none must have come before that.
  std::vector<std::string> takeEvents() {
    EXPECT_TRUE(seen.empty());
    while (evl_loop_wait_and_process(loop, 0) > 0) continue;
    return std::exchange(seen, {});
  }
  std::string get(const char* key) const {
    kvs_value value{};
    const int result = kvs_ctx_get(ctx, key, &value);
    EXPECT_EQ(result, value.type == KVS_TYPE_NONE ? -ENOENT : 0);
    return show(value);
  }
  int setInt(const char* key, int number) const { return kvs_ctx_set_int(ctx, key, number); }
  int erase(const char* key) const {
    const kvs_value nothing{};
    return kvs_ctx_set(ctx, key, &nothing);
  }
  template <bool isWatched>
  static void note(kvs_ctx*, kvs_evt, const kvs_entry* before, const kvs_entry* after, size_t, void* self) {
    std::string event =
        after == nullptr ? "started" : std::string(isWatched ? "watched: " : "") + after->key;
    if (after != nullptr) event += " " + show(*before->value) + " -> " + show(*after->value);
    static_cast<Client*>(self)->seen.push_back(event);
  }

  evl_loop* const loop = evl_loop_new();
  kvs_ctx* const ctx;
  std::vector<std::string> seen;
};

class Settings : public testing::Test {
 protected:
  Settings() { setenv("KVS_FILE", file.c_str(), 1); }
  std::vector<std::string> filesLeft() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path("")))
      names.push_back(entry.path().filename());
    return names;
  }

  const TestFolder folder;
  const std::string file = folder.path("settings");
};

TEST_F(Settings, SetterAndSubscribersGetOneEventForEachSet) {
  Client setter({"a"}), listener({"a", "b"});
  EXPECT_EQ(setter.setInt("a", 1), 0);
  EXPECT_EQ(setter.setInt("a", 1), 0);
  EXPECT_EQ(kvs_ctx_set_bool(setter.ctx, "b", true), 0);
  EXPECT_EQ(kvs_ctx_set_string(setter.ctx, "c", "x"), 0);
  EXPECT_EQ(setter.erase("a"), 0);
  EXPECT_THAT(setter.takeEvents(),
              ElementsAre("started", "watched: a nothing -> 1", "watched: a 1 -> 1", "b nothing -> true",
                          "c nothing -> \"x\"", "watched: a 1 -> nothing"));
  EXPECT_THAT(listener.takeEvents(), ElementsAre("started", "watched: a nothing -> 1", "watched: a 1 -> 1",
                                                 "watched: b nothing -> true", "watched: a 1 -> nothing"));
}

TEST_F(Settings, RefusedSetHasNoEventAndChangesNothing) {
  Client client;
  EXPECT_EQ(client.setInt("a", 1), 0);
  kvs_value value{};
  for (const int type : {-1, 4}) {
    value.type = type;
    EXPECT_EQ(kvs_ctx_set(client.ctx, "a", &value), -EINVAL);
  }
  EXPECT_EQ(kvs_ctx_set_string(client.ctx, "a", std::string(KVS_TEXT_MAX, 'x').c_str()), -EMSGSIZE);
  for (const char* key : {"", "a b", "a\n", "\x7f"}) EXPECT_EQ(client.setInt(key, 1), -EINVAL);
  EXPECT_THAT(client.takeEvents(), ElementsAre("started", "a nothing -> 1"));
  EXPECT_EQ(client.get("a"), "1");
}

TEST_F(Settings, ClientThatNeverListensKeepsTheNewestEvents) {
  Client client;  // its start is one event
  for (int i = 0; i < KVS_EVENTS_MAX; ++i) EXPECT_EQ(client.setInt("a", i), 0);
  const std::vector<std::string> events = client.takeEvents();
  ASSERT_EQ(events.size(), size_t{KVS_EVENTS_MAX});
  EXPECT_EQ(events.front(), "a nothing -> 0");
  EXPECT_EQ(events.back(), "a 30 -> 31");
}

TEST_F(Settings, InMemoryAreForgottenWithTheLastClient) {
  setenv("KVS_FILE", "", 1);
  auto first = std::make_unique<Client>(), second = std::make_unique<Client>();
  EXPECT_EQ(first->setInt("a", 1), 0);
  first.reset();
  EXPECT_EQ(second->get("a"), "1");
  second.reset();
  EXPECT_EQ(Client().get("a"), "nothing");
}

struct Line : Row {
  std::string line, shown;
};
class SettingsLine : public Settings, public testing::WithParamInterface<Line> {};

TEST_P(SettingsLine, IsReadAndWrittenAgain) {
  folder.write("settings", "# comment\n" + GetParam().line + "\r\n");
  {
    const Client client;
    EXPECT_EQ(client.get("k"), GetParam().shown);
    EXPECT_EQ(client.setInt("z", 1), 0);
  }
  EXPECT_EQ(readFile(file), GetParam().line + "\ni z 1\n");
}

const Line LINES[] = {
    {"Text", "s k /data/a b;c", "\"/data/a b;c\""},
    {"EmptyText", "s k", "\"\""},
    {"EscapedText", "s k %20\xC3\xA9 %25%0A%7F~ x%20", "\" \xC3\xA9 %\n\x7F~ x \""},
    {"LongestText", "s k " + std::string(4095, 'x'), '"' + std::string(4095, 'x') + '"'},
    {"True", "b k true", "true"},
    {"False", "b k false", "false"},
    {"SmallestNumber", "i k -2147483648", "-2147483648"},
};
INSTANTIATE_ROWS(SettingsLine, LINES);

TEST_F(Settings, DamagedLinesSetNothingAndAreReportedOnce) {
  const std::string bytes =
      "# head\n \t# more\n\ni good 1\ni key\ns \ni key 2147483648\ni key 1a\ni key 01\nb key TRUE\nf key "
      "1.5\n"
      "s key 50%\ns key a%00b\ns key  x\ni\tkey 1\nx\ns key " +
      std::string(KVS_TEXT_MAX, 'x') + "\n";
  folder.write("settings", bytes);
  CaptureStderr();
  EXPECT_EQ(Client().get("key"), "nothing");
  EXPECT_EQ(GetCapturedStderr(),
            "<4>kvs: Settings file " + file + ", line 5: not a setting, ignored (13 such lines)\n");
  EXPECT_EQ(readFile(file), bytes);
}

TEST_F(Settings, ChangedFileIsSortedAndHasTheLastLineOfEachKey) {
  folder.write("settings", "# mine\ni b 1\ni c 7\ni b 2\n??\ni a 3");
  CaptureStderr();
  EXPECT_EQ(Client().erase("c"), 0);
  GetCapturedStderr();
  EXPECT_EQ(readFile(file), "i a 3\ni b 2\n");
  EXPECT_THAT(filesLeft(), ElementsAre("settings"));
}

TEST_F(Settings, FileStaysByteForByteWhenTheyArePutBack) {
  const std::string bytes = "\n# mine\r\ni c 7\r\ni b 1\n??\ni b 2\ni a 007";
  folder.write("settings", bytes);
  ASSERT_EQ(chmod(file.c_str(), 0400), 0);
  CaptureStderr();
  {
    const Client client;
    for (const char* key : {"a", "b", "c"}) EXPECT_EQ(client.setInt(key, 5), 0);
    EXPECT_EQ(client.erase("a") + client.erase("b") + client.setInt("b", 2) + client.setInt("c", 7), 0);
    EXPECT_EQ(readFile(file), bytes);
  }
  GetCapturedStderr();
  EXPECT_EQ(readFile(file), bytes);
}

TEST_F(Settings, NoFileIsMadeWhenTheyArePutBack) {
  {
    const Client client;
    EXPECT_EQ(client.setInt("a", 1) + client.erase("a"), 0);
  }
  EXPECT_THAT(filesLeft(), ElementsAre());
}

TEST_F(Settings, ChangedFileKeepsItsModeAndTheLinkToIt) {
  ASSERT_EQ(chmod(folder.write("target", "").c_str(), 0640), 0);
  ASSERT_EQ(symlink("target", file.c_str()), 0);
  EXPECT_EQ(Client().setInt("a", 1), 0);
  struct stat target {};
  ASSERT_EQ(stat(folder.path("target").c_str(), &target), 0);
  EXPECT_EQ(target.st_mode & 07777, 0640U);
  EXPECT_EQ(readFile(folder.path("target")), "i a 1\n");
  EXPECT_TRUE(std::filesystem::is_symlink(file));
}

TEST_F(Settings, TemporaryFileOfAKilledProcessIsReplaced) {
  folder.write("settings.tmp", "i much 1\ni longer 2\n");
  EXPECT_EQ(Client().setInt("a", 1), 0);
  EXPECT_EQ(readFile(file), "i a 1\n");
}

TEST_F(Settings, FileThatCanNotBeOpenedIsAnErrorLine) {
  ASSERT_EQ(symlink("nowhere", folder.path("dangling").c_str()), 0);
  ASSERT_EQ(mkfifo(folder.path("pipe").c_str(), 0600), 0);
  const std::pair<std::string, std::string> refusals[] = {
      {folder.path("dangling"), "Too many levels of symbolic links"},
      {folder.path("pipe"), "Invalid argument"},
      {folder.makeDirectory("directory"), "Is a directory"},
      {folder.path("missing/file"), "No such file or directory"},
      {folder.write("large", std::string((1 << 20) + 1, '#')), "File too large"},
  };
  for (const auto& [path, reason] : refusals) {
    setenv("KVS_FILE", path.c_str(), 1);
    CaptureStderr();
    EXPECT_EQ(Client().ctx, nullptr);
    EXPECT_EQ(GetCapturedStderr(), "<3>kvs: Can't open settings file " + path + ": " + reason + "\n");
  }
}

TEST_F(Settings, HoldOneMebibyte) {
  std::string bytes;  // 256 lines of 4096 bytes, the last one 6 bytes shorter
  for (int key = 1000; key < 1256; ++key)
    bytes += "s " + std::to_string(key) + " " + std::string(key < 1255 ? 4088 : 4082, 'x') + "\n";
  folder.write("settings", bytes);
  {
    const Client client;
    EXPECT_EQ(client.setInt("a", 10), -EFBIG);
    EXPECT_EQ(client.get("a"), "nothing");
    EXPECT_EQ(client.setInt("a", 1), 0);
  }
  EXPECT_EQ(Client().get("a"), "1");
}

TEST_F(Settings, FailedCallOnAFileIsAnErrorLineAndLeavesTheFolderAsItWas) {
  for (const std::string failing : {"1", "2", "3", "4", "5", "6", "7"}) {
    folder.write("settings", "s a old\n");
    CaptureStderr();
    setenv("IO_FAULT_AT", failing.c_str(), 1);
    kvs_ctx* const ctx = kvs_ctx_new_client(nullptr, nullptr);
    EXPECT_EQ(kvs_ctx_set_string(ctx, "a", "new"), ctx != nullptr ? 0 : -EINVAL);
    kvs_ctx_destroy(ctx);
    unsetenv("IO_FAULT_AT");
    const std::string output = GetCapturedStderr();
    EXPECT_THAT(output, StartsWith("@fault ")) << failing;
    EXPECT_THAT(output, HasSubstr("settings file " + file));
    EXPECT_THAT(output, HasSubstr(": Input/output error\n"));
    EXPECT_EQ(readFile(file), "s a old\n") << output;
    EXPECT_THAT(filesLeft(), ElementsAre("settings")) << output;
  }
}

/// Another process, which holds the settings file, has changed a setting in it, and is killed at the end.
class SettingsOfAnotherProcess : public Settings {
 protected:
  SettingsOfAnotherProcess() {
    folder.write("settings", "i a 0\n");
    EXPECT_EQ(pipe(ready), 0);
    holder = fork();
    if (holder == 0) {
      const Client client;
      _exit(client.setInt("a", 1) != 0 || write(ready[1], "x", 1) != 1 || pause());
    }
    char byte = 0;
    EXPECT_EQ(read(ready[0], &byte, 1), 1);
  }
  ~SettingsOfAnotherProcess() override { killHolder(); }
  void killHolder() {
    if (holder > 0) kill(holder, SIGKILL);
    if (holder > 0) waitpid(std::exchange(holder, 0), nullptr, 0);
  }

  int ready[2];
  pid_t holder;
};

TEST_F(SettingsOfAnotherProcess, CanNotBeOpened) {
  CaptureStderr();
  EXPECT_EQ(Client().ctx, nullptr);
  EXPECT_EQ(GetCapturedStderr(), "<3>kvs: Settings file " + file + " is in use by another process\n");
}

TEST_F(SettingsOfAnotherProcess, LockIsReleasedWhenItsHolderIsKilled) {
  killHolder();
  EXPECT_NE(Client().ctx, nullptr);
  EXPECT_THAT(filesLeft(), ElementsAre("settings"));
}

TEST_F(SettingsOfAnotherProcess, FileIsUntouchedWhenItsHolderIsKilled) {
  killHolder();
  EXPECT_EQ(readFile(file), "i a 0\n");
}

}  // namespace
