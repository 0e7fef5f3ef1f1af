#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "kvs/kvs.h"
#include "support/TestFolder.hpp"

namespace {

using testing::ElementsAre;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

std::string show(const kvs_value& value) {
  if (value.type == KVS_TYPE_BOOL) return value.boolean ? "true" : "false";
  if (value.type == KVS_TYPE_INT) return std::to_string(value.integer);
  return value.type == KVS_TYPE_STRING ? '"' + std::string(value.text) + '"' : "nothing";
}

const kvs_value NOTHING{}, OF_NO_TYPE{KVS_TYPE_INT + 1, 0, false, {}};

/// A started client with a loop of its own. It notes its events; those of `keys` as "watched: ...".
struct Client {
  explicit Client(const std::vector<const char*>& keys = {}) : ctx(kvs_ctx_new_client(note<false>, this)) {
    kvs_ctx_evl_loop_register(ctx, loop);
    for (const char* key : keys) EXPECT_EQ(kvs_ctx_subscribe(ctx, key, note<true>, this), 0);
    kvs_ctx_start(ctx);
  }
  ~Client() {
    kvs_ctx_destroy(ctx);
    evl_loop_destroy(loop);
  }
  std::vector<std::string> takeEvents() {
    while (evl_loop_wait_and_process(loop, 0) > 0) continue;
    return std::exchange(seen, {});
  }
  std::string get(const char* key) const {
    kvs_value value{};
    return kvs_ctx_get(ctx, key, &value) == 0 ? show(value) : "nothing";
  }
  int setInt(const char* key, int number) const { return kvs_ctx_set_int(ctx, key, number); }
  int erase(const char* key) const { return kvs_ctx_set(ctx, key, &NOTHING); }
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

struct Settings : testing::Test {
  Settings() { setenv("KVS_FILE", file.c_str(), 1); }
  const TestFolder folder;
  const std::string file = folder.path("settings");
};

TEST_F(Settings, SetterAndSubscribersGetOneEventForEachSet) {
  Client setter, listener({"a"});
  EXPECT_EQ(setter.setInt("a", 1), 0);
  EXPECT_EQ(setter.setInt("a", 1), 0);
  EXPECT_EQ(kvs_ctx_set_bool(setter.ctx, "b", true), 0);
  EXPECT_EQ(setter.erase("a"), 0);
  EXPECT_THAT(setter.takeEvents(),
              ElementsAre("started", "a nothing -> 1", "a 1 -> 1", "b nothing -> true", "a 1 -> nothing"));
  EXPECT_THAT(listener.takeEvents(), ElementsAre("started", "watched: a nothing -> 1", "watched: a 1 -> 1",
                                                 "watched: a 1 -> nothing"));
}

TEST_F(Settings, RefusedSetHasNoEvent) {
  Client client;
  EXPECT_EQ(client.setInt("a", 1), 0);
  EXPECT_EQ(kvs_ctx_set(client.ctx, "a", &OF_NO_TYPE), -EINVAL);
  EXPECT_EQ(kvs_ctx_set_string(client.ctx, "a", std::string(KVS_TEXT_MAX, 'x').c_str()), -EMSGSIZE);
  for (const char* key : {"", "a b", "a\n", "\x7f"}) EXPECT_EQ(client.setInt(key, 1), -EINVAL);
  EXPECT_THAT(client.takeEvents(), ElementsAre("started", "a nothing -> 1"));
}

TEST_F(Settings, ClientThatNeverListensKeepsTheNewestEvents) {
  Client client;  // its start is one event
  for (int i = 0; i < KVS_EVENTS_MAX; ++i) EXPECT_EQ(client.setInt("a", i), 0);
  const std::vector<std::string> events = client.takeEvents();
  ASSERT_EQ(events.size(), size_t{KVS_EVENTS_MAX});
  EXPECT_EQ(events.front(), "a nothing -> 0");
  EXPECT_EQ(events.back(), "a 30 -> 31");
}

TEST_F(Settings, AreReadFromTheFileAndWrittenSortedByKey) {
  const std::string bytes =
      "i z 1\n # comment\nb c true\r\ns a old\ns a %20\xC3\xA9 %25%0A%7F~%20\ns b\nb d false\ni e -7";
  folder.write("settings", bytes);
  folder.write("settings.tmp", bytes + bytes);  // left by a process that was killed
  {
    const Client client;
    EXPECT_EQ(client.get("a"), "\" \xC3\xA9 %\n\x7F~ \"");
    EXPECT_EQ(client.get("b") + client.get("c") + client.get("d") + client.get("e"), "\"\"truefalse-7");
    EXPECT_EQ(client.erase("z"), 0);
    EXPECT_EQ(readFile(file), bytes) << "written before it is closed";
  }
  EXPECT_EQ(readFile(file), "s a %20\xC3\xA9 %25%0A%7F~%20\ns b\nb c true\nb d false\ni e -7\n");
}

TEST_F(Settings, DamagedLinesSetNothingAndAreReportedOnce) {
  const std::string tooLong(KVS_TEXT_MAX, 'x');
  folder.write("settings",
               "# head\n\ni good 1\ni key\ns \ni key 2147483648\ni key 1a\ni key 01\nb key TRUE\n"
               "f key 1.5\ns key 50%\ns key a%00b\ns key  x\ni\tkey 1\nx\ns key " +
                   tooLong + "\n");
  CaptureStderr();
  EXPECT_EQ(Client().get("key"), "nothing");
  EXPECT_EQ(GetCapturedStderr(),
            "<4>kvs: Settings file " + file + ", line 4: not a setting, ignored (13 such lines)\n");
}

TEST_F(Settings, ChangedFileKeepsItsModeAndTheLinkToIt) {
  const std::string target = folder.write("target", "");
  ASSERT_EQ(chmod(target.c_str(), 0640) + symlink("target", file.c_str()), 0);
  EXPECT_EQ(Client().setInt("a", 1), 0);
  EXPECT_EQ(readFile(target), "i a 1\n");
  EXPECT_EQ(std::filesystem::status(target).permissions(), std::filesystem::perms{0640});
  EXPECT_TRUE(std::filesystem::is_symlink(file));
}

TEST_F(Settings, FileThatCanNotBeOpenedIsAnErrorLine) {
  ASSERT_EQ(symlink("nowhere", folder.path("dangling").c_str()), 0);
  const std::pair<std::string, std::string> refusals[] = {
      {folder.path("dangling"), "Too many levels of symbolic links"},
      {folder.makeDirectory("directory"), "Is a directory"},
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
  const std::string longest((1 << 20) - 5, 'k');  // its line, "i KEY 1", has 5 bytes more
  EXPECT_EQ(Client().setInt((longest + "k").c_str(), 1), -EFBIG);
  EXPECT_EQ(Client().setInt(longest.c_str(), 1), 0);
  EXPECT_EQ(Client().get(longest.c_str()), "1");
}

TEST_F(Settings, FailedCallOnAFileIsAnErrorLineAndLeavesTheFolderAsItWas) {
  for (const char* failing : {"1", "2", "3", "4", "5", "6", "7"}) {
    folder.write("settings", "i a 1\n");
    setenv("IO_FAULT_AT", failing, 1);
    CaptureStderr();
    kvs_ctx_set_int(Client().ctx, "a", 2);
    unsetenv("IO_FAULT_AT");
    EXPECT_THAT(GetCapturedStderr(), testing::MatchesRegex("@fault .*\n<3>kvs: Can't .* settings file " +
                                                           file + ".*: Input/output error\n"));
    EXPECT_EQ(readFile(file), "i a 1\n") << failing;
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path("")), {}), 1) << failing;
  }
}

TEST_F(Settings, FileIsLockedWhileItIsOpen) {
  const int lock = open((file + ".lock").c_str(), O_RDONLY | O_CREAT, 0600);
  EXPECT_EQ(flock(lock, LOCK_SH | LOCK_NB), 0);
  CaptureStderr();
  EXPECT_EQ(Client().ctx, nullptr);
  EXPECT_EQ(GetCapturedStderr(), "<3>kvs: Settings file " + file + " is in use by another process\n");
  flock(lock, LOCK_UN);
  const Client client;
  EXPECT_EQ(flock(lock, LOCK_SH | LOCK_NB), -1);
  close(lock);
}

}  // namespace
