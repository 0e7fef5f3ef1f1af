#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "kvs/kvs.h"
#include "support/TestFolder.hpp"

namespace {

using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;

std::string show(const kvs_value& value) {
  if (value.type == KVS_TYPE_BOOL) return value.boolean ? "true" : "false";
  if (value.type == KVS_TYPE_INT) return std::to_string(value.integer);
  return value.type == KVS_TYPE_STRING ? '"' + std::string(value.text) + '"' : "nothing";
}

/// A started client with a loop of its own, and the events that have come to its own callback ("-key ...")
/// and to that of a subscription ("+key ...").
struct Client {
  explicit Client(const std::vector<const char*>& keys = {}) : ctx(kvs_ctx_new_client(note<'-'>, this)) {
    kvs_ctx_evl_loop_register(ctx, loop);
    for (const char* key : keys) EXPECT_EQ(kvs_ctx_subscribe(ctx, key, note<'+'>, this), 0);
    kvs_ctx_start(ctx);
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  ~Client() {
    kvs_ctx_destroy(ctx);
    evl_loop_destroy(loop);
  }
  /// What arrives while the loop is processed; nothing must have come outside of that.
  std::vector<std::string> events() {
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
  template <char mark>
  static void note(kvs_ctx*, kvs_evt, const kvs_entry* old, const kvs_entry* now, size_t, void* client) {
    std::string text(1, mark);
    if (old != nullptr) text += now->key + (' ' + show(*old->value)) + ' ' + show(*now->value);
    static_cast<Client*>(client)->seen.push_back(text);
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

TEST_F(Settings, EverySetIsOneEventToTheSetterAndToEachSubscriber) {
  Client setter({"a"}), listener({"a", "b"}), deaf({"a", "counter"});
  EXPECT_EQ(kvs_ctx_set_int(setter.ctx, "a", 1), 0);
  EXPECT_EQ(kvs_ctx_set_int(setter.ctx, "a", 1), 0);
  EXPECT_EQ(kvs_ctx_set_bool(setter.ctx, "b", true), 0);
  EXPECT_EQ(kvs_ctx_set_string(setter.ctx, "c", "x"), 0);
  kvs_value value{};
  value.type = 9;  // what is refused has no event
  EXPECT_EQ(kvs_ctx_set(setter.ctx, "a", &value), -EINVAL);
  EXPECT_EQ(kvs_ctx_set_string(setter.ctx, "a", std::string(KVS_TEXT_MAX, 'x').c_str()), -EMSGSIZE);
  for (const char* key : {"", "a b", "a\n", "\x7f"})
    EXPECT_EQ(kvs_ctx_set_int(setter.ctx, key, 1), -EINVAL);
  EXPECT_THAT(setter.events(),
              ElementsAre("-", "+a nothing 1", "+a 1 1", "-b nothing true", "-c nothing \"x\""));
  EXPECT_THAT(listener.events(), ElementsAre("-", "+a nothing 1", "+a 1 1", "+b nothing true"));

  for (int i = 0; i < 2 * KVS_EVENTS_MAX; ++i) EXPECT_EQ(kvs_ctx_set_int(setter.ctx, "counter", i), 0);
  const auto kept = deaf.events();  // a bounded number, with the last of each key
  EXPECT_EQ(kept.size(), size_t{KVS_EVENTS_MAX});
  EXPECT_THAT(kept, testing::IsSupersetOf({"+a 1 1", "+counter 62 63"}));
}

TEST_F(Settings, FileIsRestoredByteForByteWhenEverySettingIsPutBack) {
  for (const std::string bytes :
       {"no file", "", "s dir /data\nb enabled true\ns filter a;b\ns name\ni period -7\n",
        "i other 3\nb enabled true", "# mine\n\n  # more\nb enabled true\n\n?? what\ni other 3\n\n",
        "# mine\r\ns name x\r\nb enabled false\r\n", "i period 4\r",
        "i period 4\nb enabled true\ni period 5\n", "i name 4\ns period 4\n",
        "i period 007\nb enabled yes\n"}) {
    const bool isThere = bytes != "no file";
    if (isThere) folder.write("settings", bytes);
    auto client = std::make_unique<Client>();
    std::map<std::string, kvs_value> saved{{"dir", {}}, {"enabled", {}}, {"name", {}}, {"period", {}}};
    for (auto& [key, value] : saved) kvs_ctx_get(client->ctx, key.c_str(), &value);
    for (const char* key : {"name", "dir"}) EXPECT_EQ(kvs_ctx_set_string(client->ctx, key, key), 0);
    EXPECT_EQ(kvs_ctx_set_bool(client->ctx, "enabled", false), 0);
    EXPECT_EQ(kvs_ctx_set_int(client->ctx, "period", 1), 0);
    EXPECT_EQ(readFile(file), isThere ? bytes : "");
    if (isThere) {
      client.reset();  // written, and read once more
      client = std::make_unique<Client>();
    }
    EXPECT_EQ(client->get("name") + client->get("enabled") + client->get("period"), "\"name\"false1");
    for (const auto& [key, value] : saved) EXPECT_EQ(kvs_ctx_set(client->ctx, key.c_str(), &value), 0);
    client.reset();
    EXPECT_EQ(readFile(file), isThere ? bytes : "");
    EXPECT_EQ(filesLeft(), std::vector<std::string>(isThere ? 1 : 0, "settings"));
  }
}

TEST_F(Settings, WhatIsNoSettingIsReportedAndKept) {
  const std::string bytes =
      "# head\ni good 1\ni key\ns \ni key 2147483648\ni key 1a\nb key TRUE\nf key 1.5\ns key 50%\n"
      "s key a%00b\ni\tkey 1\ns key " +
      std::string(KVS_TEXT_MAX, 'x') + "\n";
  folder.write("settings", bytes);
  testing::internal::CaptureStderr();
  {
    const Client client;
    EXPECT_EQ(client.get("key"), "nothing");
    EXPECT_EQ(kvs_ctx_set_int(client.ctx, "key", 5), 0);
  }
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              HasSubstr("Settings file " + file + ", line 3: not a setting, ignored (10 such lines)\n"));
  EXPECT_EQ(readFile(file), bytes + "i key 5\n");
}

TEST_F(Settings, AFailedCallLeavesFileAndFolderAsTheyWere) {
  int at = 0;
  for (bool failed = true; failed;) {
    folder.write("settings", "s a old\n");
    testing::internal::CaptureStderr();
    setenv("IO_FAULT_AT", std::to_string(++at).c_str(), 1);
    kvs_ctx* const ctx = kvs_ctx_new_client(nullptr, nullptr);
    EXPECT_EQ(kvs_ctx_set_string(ctx, "a", "new"), ctx != nullptr ? 0 : -EINVAL);
    kvs_ctx_destroy(ctx);
    unsetenv("IO_FAULT_AT");
    const std::string said = testing::internal::GetCapturedStderr();
    failed = !said.empty();
    EXPECT_THAT(said, ContainsRegex(failed ? "@fault .*Can't .* settings file " + file + ".*: Input/output"
                                           : "^$"));
    EXPECT_EQ(readFile(file), failed ? "s a old\n" : "s a new\n") << said;
    EXPECT_THAT(filesLeft(), ElementsAre("settings")) << said;
  }
  EXPECT_EQ(at, 9);
}

TEST_F(Settings, AreOneProcessesOnlyUntilItIsKilledWhichSetsNothing) {
  folder.write("settings", "i a 0\n");
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t holder = fork();
  if (holder == 0) {
    const Client client;
    _exit(kvs_ctx_set_int(client.ctx, "a", 1) != 0 || write(ready[1], "x", 1) != 1 || pause());
  }
  char byte = 0;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  testing::internal::CaptureStderr();
  EXPECT_EQ(Client().ctx, nullptr);
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              HasSubstr("Settings file " + file + " is in use by another process"));
  kill(holder, SIGKILL);
  waitpid(holder, nullptr, 0);
  EXPECT_EQ(Client().get("a"), "0");
  EXPECT_THAT(filesLeft(), ElementsAre("settings"));
}

}  // namespace
