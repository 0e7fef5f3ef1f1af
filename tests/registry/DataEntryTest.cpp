#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <tuple>

#include "registry/DataEntry.hpp"
#include "support/LogProbe.hpp"

namespace {

constexpr double TWO_31 = 2147483648.0;
constexpr double TWO_32 = 4294967296.0;
constexpr double TWO_63 = 9223372036854775808.0;

/// Pairs of a recorded value and what a field of the type then holds.
template <class T>
void expectStored(const std::vector<std::pair<double, double>>& values) {
  for (auto [recorded, stored] : values) {
    T field{};
    DataEntry<T> entry("field", &field);
    entry.fromRecord(recorded);
    EXPECT_EQ(entry.toRecordFormat(), stored) << recorded << " as " << entry.getTypeString();
  }
}

TEST(DataEntry, StoresARecordedValueAsItsFieldTypeHoldsIt) {
  expectStored<bool>({{0.25, 1}, {-0.0, 0}, {NAN, 1}});
  expectStored<unsigned char>({{300, 44}, {-0.7, 0}, {-1, 255}, {TWO_31 + 7, 0}});
  expectStored<short>({{-2.9, -2}, {32767, 32767}, {32768, -32768}});
  expectStored<int>({{-1.9, -1}, {TWO_31 - 0.5, TWO_31 - 1}, {-TWO_31, -TWO_31}, {1 - TWO_31, 1 - TWO_31}});
  expectStored<int>({{TWO_31, -TWO_31}, {-TWO_31 - 1, -TWO_31}, {NAN, -TWO_31}});
  expectStored<unsigned int>({{-1, TWO_32 - 1}, {TWO_32 - 1, TWO_32 - 1}, {TWO_32 + 5, 5}, {TWO_63, 0}});
  expectStored<long>({{TWO_63 - 1024, TWO_63 - 1024}, {TWO_63, -TWO_63}, {NAN, -TWO_63}});
  expectStored<unsigned long>({{-2048, 2 * TWO_63 - 2048}, {TWO_63, TWO_63}});
  expectStored<unsigned long>({{TWO_63 + 2048, TWO_63 + 2048}, {2 * TWO_63, TWO_63}, {NAN, TWO_63}});
  expectStored<float>({{0.1, static_cast<double>(0.1F)}, {1e300, HUGE_VAL}});
}

/// The slot of a virtual operation in the object's table of them, as the compilers' common ABI encodes it.
template <class Member>
std::size_t slotOf(Member member) {
  std::size_t encoded = 0;  // 1 and the slot's offset in bytes
  std::memcpy(&encoded, &member, sizeof(encoded));
  return encoded / sizeof(void*);
}

TEST(DataEntryLayout, KeepsTheOrderOfVirtualOperations) {
  EXPECT_EQ(slotOf(&DataEntryBase::getTypeString), 2U);  // the destructor takes the first two
  EXPECT_EQ(slotOf(&DataEntryBase::toRecordFormat), 3U);
  EXPECT_EQ(slotOf(&DataEntryBase::fromRecord), 4U);
  EXPECT_EQ(slotOf(&DataEntryBase::registerToTlm), 5U);
}

/// What a producer was last asked to register: address, name, type, bytes of an element, elements.
std::tuple<void*, std::string, int, unsigned long, unsigned long> registration;

template <class T>
void expectEntry(int type, const char* typeString, int tlmType) {
  T field{};
  DataEntry<T> entry("inputs.field", &field);
  EXPECT_EQ(static_cast<int>(entry.type), type) << typeString;
  EXPECT_STREQ(entry.getTypeString(), typeString);
  // Where the library looks for the field's address.
  EXPECT_EQ(reinterpret_cast<const char*>(&entry.ptr) - reinterpret_cast<const char*>(&entry), 48);
  telemetry::Producer producer("navdata");
  EXPECT_EQ(entry.registerToTlm(producer), -EEXIST);  // the producer's result comes back
  EXPECT_EQ(takeLogLines(), std::vector<std::string>{"<7>Registering inputs.field into telemetry"});
  EXPECT_EQ(registration, std::make_tuple(static_cast<void*>(&field), entry.name, tlmType, sizeof(T), 1UL));
}

TEST(DataEntry, HasTheNamesOfItsFieldType) {
  expectEntry<bool>(1, "TYPES_BOOL", 0);
  expectEntry<float>(3, "TYPES_FLOAT", 9);
  expectEntry<double>(4, "TYPES_DOUBLE", 10);
  expectEntry<short>(6, "TYPES_INT16", 4);
  expectEntry<int>(7, "TYPES_INT32", 6);
  expectEntry<long>(8, "TYPES_INT64", 8);
  expectEntry<unsigned char>(9, "TYPES_UINT8", 1);
  expectEntry<unsigned short>(10, "TYPES_UINT16", 3);
  expectEntry<unsigned int>(11, "TYPES_UINT32", 5);
  expectEntry<unsigned long>(12, "TYPES_UINT64", 7);
  expectEntry<FOLLOW_ME_TRAJECTORY_TYPE>(13, "TYPES_FOLLOW_ME_TRAJECTORY", 6);
}

}  // namespace

// In place of the telemetry library's.
int telemetry::internal::Registrator::regInternal(void* address, const std::string&,
                                                  const std::string& name, tlm_var_type type,
                                                  unsigned long bytes, unsigned long count, unsigned int,
                                                  timespec*, unsigned long) {
  registration = {address, name, type, bytes, count};
  return -EEXIST;
}
