#include <cerrno>

#include "Support.hpp"
#include "kvs/kvs.h"

namespace {

bool same(const kvs_value& a, const kvs_value& b) {
  if (a.type != b.type) return false;
  if (a.type == KVS_TYPE_INT) return a.integer == b.integer;
  if (a.type == KVS_TYPE_BOOL) return a.boolean == b.boolean;
  return std::strcmp(a.text, b.text) == 0;  // both are empty texts where there is none
}

/// Borrows a setting for each of three values of other types, then puts back what was there.
void borrow(kvs_ctx* ctx, const char* key) {
  static kvs_value before, borrowed, now;  // too large for the stack of each input
  const int known = kvs_ctx_get(ctx, key, &before);
  REQUIRE(known == 0 || known == -ENOENT || known == -EINVAL);
  REQUIRE((known == 0) == (before.type != KVS_TYPE_NONE));
  if (known == -EINVAL) {
    REQUIRE(kvs_ctx_set(ctx, key, &before) == -EINVAL);
    return;
  }
  for (const int type : {KVS_TYPE_INT, KVS_TYPE_BOOL, KVS_TYPE_STRING}) {
    kvs_value_init(&borrowed);
    borrowed.type = type;
    borrowed.integer = -7;
    borrowed.boolean = true;
    std::strcpy(borrowed.text, " 100 %\r\n ");
    REQUIRE(kvs_ctx_set(ctx, key, &borrowed) == 0);
    REQUIRE(kvs_ctx_get(ctx, key, &now) == 0 && same(now, borrowed));
  }
  REQUIRE(kvs_ctx_set(ctx, key, &before) == 0);
  REQUIRE(kvs_ctx_get(ctx, key, &now) == known && same(now, before));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  setenv("KVS_FILE", inputFile(bytes, size).c_str(), 1);
  kvs_ctx* const ctx = kvs_ctx_new_client(nullptr, nullptr);
  REQUIRE(ctx != nullptr);
  borrow(ctx, "tlm-blackbox.enabled");
  for (const std::string& key : likelyKeys(bytes, size)) borrow(ctx, key.c_str());
  kvs_ctx_destroy(ctx);
  REQUIRE(inputFileBytes() == std::string(reinterpret_cast<const char*>(bytes), size));
  return 0;
}
