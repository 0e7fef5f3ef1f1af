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

/// One process's use of the store; what it sets is in the file when it ends.
struct Session {
  kvs_ctx* const ctx = kvs_ctx_new_client(nullptr, nullptr);
  Session() { REQUIRE(ctx != nullptr); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session() { kvs_ctx_destroy(ctx); }

  void set(const std::string& key, const kvs_value& value) const {
    REQUIRE(kvs_ctx_set(ctx, key.c_str(), &value) == 0);
    requireValue(key, value);
  }

  void requireValue(const std::string& key, const kvs_value& value) const {
    kvs_value now;
    const int result = kvs_ctx_get(ctx, key.c_str(), &now);
    REQUIRE(result == (value.type == KVS_TYPE_NONE ? -ENOENT : 0) && same(now, value));
  }
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
  std::map<std::string, kvs_value> saved;
  {
    // What is put back in the session that has changed it leaves the file alone.
    const Session session;
    std::vector<std::string> keys = likelyKeys(bytes, size);
    keys.emplace_back("tlm-blackbox.enabled");
    for (const std::string& key : keys) {
      kvs_value before;
      const int known = kvs_ctx_get(session.ctx, key.c_str(), &before);
      REQUIRE(known == 0 || known == -ENOENT || known == -EINVAL);
      if (known != -EINVAL) saved.emplace(key, before);
    }
    for (const auto& [key, before] : saved) session.set(key, borrowedValue(KVS_TYPE_INT));
    for (const auto& [key, before] : saved) session.set(key, before);
  }
  REQUIRE(inputFileBytes() == std::string(reinterpret_cast<const char*>(bytes), size));

  // What is not put back comes from the file in the next session.
  for (const int type : {KVS_TYPE_INT, KVS_TYPE_BOOL, KVS_TYPE_STRING}) {
    const kvs_value borrowed = borrowedValue(type);
    {
      const Session session;
      for (const auto& [key, before] : saved) {
        session.requireValue(key, before);
        session.set(key, borrowed);
      }
    }
    const Session session;
    for (const auto& [key, before] : saved) {
      session.requireValue(key, borrowed);
      session.set(key, before);
    }
  }
  return 0;
}
