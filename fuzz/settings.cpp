#include <cerrno>
#include <map>

#include "Support.hpp"
#include "kvs/kvs.h"

namespace {

bool same(const kvs_value& a, const kvs_value& b) {
  if (a.type != b.type) return false;
  if (a.type == KVS_TYPE_INT) return a.integer == b.integer;
  if (a.type == KVS_TYPE_BOOL) return a.boolean == b.boolean;
  return std::strcmp(a.text, b.text) == 0;  // both are empty texts where there is none
}

/// A session of the store; what it sets is in the file when it ends.
struct Session {
  kvs_ctx* const ctx = kvs_ctx_new_client(nullptr, nullptr);
  Session() { REQUIRE(ctx != nullptr); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session() { kvs_ctx_destroy(ctx); }
};

kvs_value borrowedValue(int type) {
  kvs_value value{};
  value.type = type;
  value.integer = -7;
  value.boolean = true;
  std::strcpy(value.text, " 100 %\r\n ");
  return value;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  setenv("KVS_FILE", inputFile(bytes, size).c_str(), 1);
  std::map<std::string, kvs_value> saved{{"tlm-blackbox.enabled", {}}};
  for (const std::string& key : likelyKeys(bytes, size)) saved[key] = {};

  // One session borrows the settings with values of one type, the next one puts them back.
  kvs_value now;
  for (const int type : {KVS_TYPE_INT, KVS_TYPE_BOOL, KVS_TYPE_STRING}) {
    const kvs_value borrowed = borrowedValue(type);
    std::map<std::string, int> known;
    {
      const Session session;
      for (auto& [key, before] : saved) {
        known[key] = kvs_ctx_get(session.ctx, key.c_str(), &before);
        REQUIRE(known[key] == 0 || known[key] == -ENOENT || known[key] == -EINVAL);
        REQUIRE((known[key] == 0) == (before.type != KVS_TYPE_NONE));
        REQUIRE(kvs_ctx_set(session.ctx, key.c_str(), &borrowed) == (known[key] == -EINVAL ? -EINVAL : 0));
      }
    }
    const Session session;
    for (const auto& [key, before] : saved) {
      if (known[key] == -EINVAL) continue;
      REQUIRE(kvs_ctx_get(session.ctx, key.c_str(), &now) == 0 && same(now, borrowed));
      REQUIRE(kvs_ctx_set(session.ctx, key.c_str(), &before) == 0);
      REQUIRE(kvs_ctx_get(session.ctx, key.c_str(), &now) == known[key] && same(now, before));
    }
  }
  REQUIRE(inputFileBytes() == std::string(reinterpret_cast<const char*>(bytes), size));
  return 0;
}
