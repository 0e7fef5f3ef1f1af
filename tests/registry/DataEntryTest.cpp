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

/// Stores recorded values into a field of type T and compares what it then holds.
template <class T>
void expectStored(std::initializer_list<std::pair<double, double>> conversions) {
  T field{};
  DataEntry<T> entry("field", &field);
  for (auto [recorded, stored] : conversions) {
    entry.fromRecord(recorded);
    EXPECT_EQ(entry.toRecordFormat(), stored) << entry.getTypeString() << " from " << recorded;
  }
}

using Trajectory = FOLLOW_ME_TRAJECTORY_TYPE;

TEST(RecordedValue, IsStoredAsTheFieldTypeHoldsIt) {
  expectStored<bool>({{0.25, 1}, {0, 0}, {NAN, 1}, {-0.0, 0}});
  expectStored<unsigned char>({{300, 44}, {-0.7, 0}, {-1, 255}, {TWO_31 + 7, 0}});
  expectStored<unsigned short>({{65537, 1}});
  expectStored<short>({{-2.9, -2}, {32768, -32768}});
  expectStored<int>({{TWO_31 - 1, TWO_31 - 1}, {TWO_31 - 0.5, TWO_31 - 1}, {TWO_31, -TWO_31}, {-1.9, -1}});
  expectStored<int>({{-TWO_31, -TWO_31}, {5, 5}, {-TWO_31 - 1, -TWO_31}});
  expectStored<int>({{NAN, -TWO_31}, {5, 5}, {HUGE_VAL, -TWO_31}});
  expectStored<unsigned int>({{-1, TWO_32 - 1}, {TWO_32 + 5, 5}, {TWO_32 - 1, TWO_32 - 1}, {TWO_63, 0}});
  expectStored<long>({{TWO_63, -TWO_63}, {TWO_63 - 1024, TWO_63 - 1024}, {NAN, -TWO_63}});
  expectStored<unsigned long>({{TWO_63 + 2048, TWO_63 + 2048}, {-2048, 2 * TWO_63 - 2048}});
  expectStored<unsigned long>({{2 * TWO_63, TWO_63}, {5, 5}, {-2 * TWO_63, TWO_63}, {5, 5}, {NAN, TWO_63}});
  expectStored<float>({{0.1, static_cast<double>(0.1F)}, {1e300, HUGE_VAL}});
  expectStored<double>({{0.1, 0.1}});
  expectStored<Trajectory>({{3, 3}, {-7.5, -7}});
}

/// The slot of a virtual operation in the object's table of them, as the compilers' common ABI encodes it.
template <class Member>
std::size_t slotOf(Member member) {
  std::ptrdiff_t encoded = 0;
  std::memcpy(&encoded, &member, sizeof(encoded));
  return static_cast<std::size_t>(encoded - 1) / sizeof(void*);
}

TEST(DataEntryLayout, KeepsTheOrderOfVirtualOperations) {
  EXPECT_EQ(slotOf(&DataEntryBase::getTypeString), 2U);  // the destructor takes the first two
  EXPECT_EQ(slotOf(&DataEntryBase::toRecordFormat), 3U);
  EXPECT_EQ(slotOf(&DataEntryBase::fromRecord), 4U);
  EXPECT_EQ(slotOf(&DataEntryBase::registerToTlm), 5U);
}

/// What a producer was last asked to register: regInternal()'s arguments.
std::tuple<void*, std::string, std::string, int, unsigned long, unsigned long, unsigned int, timespec*,
           unsigned long>
    registration;

template <class T>
void expectNames(int type, const char* typeString, int tlmType) {
  T field{};
  DataEntry<T> entry("inputs.field", &field);
  EXPECT_EQ(static_cast<int>(entry.type), type) << typeString;
  EXPECT_STREQ(entry.getTypeString(), typeString);
  telemetry::Producer producer("navdata");
  takeLogLines();
  EXPECT_EQ(entry.registerToTlm(producer), -EEXIST);  // the producer's result comes back
  EXPECT_EQ(takeLogLines(), std::vector<std::string>{"<7>Registering inputs.field into telemetry"});
  EXPECT_EQ(registration, std::make_tuple(static_cast<void*>(&field), "navdata", "inputs.field", tlmType,
                                          sizeof(T), 1UL, 0U, static_cast<timespec*>(nullptr), 1UL))
      << typeString;
}

TEST(DataEntryNames, FollowTheFieldType) {
  expectNames<bool>(1, "TYPES_BOOL", 0);
  expectNames<float>(3, "TYPES_FLOAT", 9);
  expectNames<double>(4, "TYPES_DOUBLE", 10);
  expectNames<short>(6, "TYPES_INT16", 4);
  expectNames<int>(7, "TYPES_INT32", 6);
  expectNames<long>(8, "TYPES_INT64", 8);
  expectNames<unsigned char>(9, "TYPES_UINT8", 1);
  expectNames<unsigned short>(10, "TYPES_UINT16", 3);
  expectNames<unsigned int>(11, "TYPES_UINT32", 5);
  expectNames<unsigned long>(12, "TYPES_UINT64", 7);
  expectNames<Trajectory>(13, "TYPES_FOLLOW_ME_TRAJECTORY", 6);
}

}  // namespace

// In place of the telemetry library's.
int telemetry::internal::Registrator::regInternal(void* address, const std::string& section,
                                                  const std::string& name, tlm_var_type type,
                                                  unsigned long elementBytes, unsigned long count,
                                                  unsigned int flags, timespec* timestamp,
                                                  unsigned long timestampCount) {
  registration = {address, section, name, type, elementBytes, count, flags, timestamp, timestampCount};
  return -EEXIST;
}
