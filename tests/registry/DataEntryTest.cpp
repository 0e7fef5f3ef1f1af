#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>
#include <tuple>

#include "registry/DataEntry.hpp"
#include "support/LogProbe.hpp"

namespace {

constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();
constexpr double INFINITE = std::numeric_limits<double>::infinity();
constexpr double TWO_31 = 2147483648.0;
constexpr double TWO_32 = 4294967296.0;
constexpr double TWO_63 = 9223372036854775808.0;

/// What a field of type T gives back after the recorded value was stored into it.
template <class T>
double throughField(double recorded) {
  T field{};
  DataEntry<T> entry("field", &field);
  entry.fromRecord(recorded);
  return entry.toRecordFormat();
}

struct Conversion {
  const char* label;
  double (*store)(double);
  double recorded;
  double stored;
};
void PrintTo(const Conversion& row, std::ostream* out) {
  *out << row.label;
}

class RecordedValue : public testing::TestWithParam<Conversion> {};

TEST_P(RecordedValue, IsStoredAsTheFieldTypeHoldsIt) {
  EXPECT_EQ(GetParam().store(GetParam().recorded), GetParam().stored);
}

using Trajectory = FOLLOW_ME_TRAJECTORY_TYPE;

INSTANTIATE_TEST_SUITE_P(Types, RecordedValue,
                         testing::ValuesIn<Conversion>({
                             {"BoolZero", throughField<bool>, 0.0, 0.0},
                             {"BoolNegativeZero", throughField<bool>, -0.0, 0.0},
                             {"BoolFraction", throughField<bool>, 0.25, 1.0},
                             {"BoolNan", throughField<bool>, NOT_A_NUMBER, 1.0},
                             {"Uint8Fraction", throughField<unsigned char>, -0.7, 0.0},
                             {"Uint8Wraps", throughField<unsigned char>, 300.0, 44.0},
                             {"Uint8Negative", throughField<unsigned char>, -1.0, 255.0},
                             {"Uint8BeyondInt32", throughField<unsigned char>, TWO_31 + 7, 0.0},
                             {"Uint16Wraps", throughField<unsigned short>, 65537.0, 1.0},
                             {"Int16KeepsSign", throughField<short>, -2.9, -2.0},
                             {"Int16Wraps", throughField<short>, 32768.0, -32768.0},
                             {"Int32Truncates", throughField<int>, -1.9, -1.0},
                             {"Int32Most", throughField<int>, TWO_31 - 1, TWO_31 - 1},
                             {"Int32MostAndAFraction", throughField<int>, TWO_31 - 0.5, TWO_31 - 1},
                             {"Int32Beyond", throughField<int>, TWO_31, -TWO_31},
                             {"Int32Least", throughField<int>, -TWO_31, -TWO_31},
                             {"Int32BelowLeast", throughField<int>, -TWO_31 - 1, -TWO_31},
                             {"Int32Nan", throughField<int>, NOT_A_NUMBER, -TWO_31},
                             {"Int32Infinite", throughField<int>, INFINITE, -TWO_31},
                             {"Uint32Negative", throughField<unsigned int>, -1.0, TWO_32 - 1},
                             {"Uint32Most", throughField<unsigned int>, TWO_32 - 1, TWO_32 - 1},
                             {"Uint32Wraps", throughField<unsigned int>, TWO_32 + 5, 5.0},
                             {"Uint32BeyondInt64", throughField<unsigned int>, TWO_63, 0.0},
                             {"Int64Beyond", throughField<long>, TWO_63, -TWO_63},
                             {"Int64Large", throughField<long>, TWO_63 - 1024, TWO_63 - 1024},
                             {"Int64Nan", throughField<long>, NOT_A_NUMBER, -TWO_63},
                             {"Uint64AboveSigned", throughField<unsigned long>, TWO_63 + 2048,
                              TWO_63 + 2048},
                             {"Uint64Negative", throughField<unsigned long>, -2048.0, 2 * TWO_63 - 2048},
                             {"Uint64Beyond", throughField<unsigned long>, 2 * TWO_63, TWO_63},
                             {"Uint64BelowSigned", throughField<unsigned long>, -2 * TWO_63, TWO_63},
                             {"Uint64Nan", throughField<unsigned long>, NOT_A_NUMBER, TWO_63},
                             {"FloatRounds", throughField<float>, 0.1, static_cast<double>(0.1F)},
                             {"FloatBeyond", throughField<float>, 1e300, INFINITE},
                             {"DoubleWhole", throughField<double>, 0.1, 0.1},
                             {"Trajectory", throughField<Trajectory>, 3.0, 3.0},
                             {"TrajectoryWithoutName", throughField<Trajectory>, -7.5, -7.0},
                         }),
                         [](const auto& row) { return std::string(row.param.label); });

/// The slot of a virtual operation in the object's table of them, as the compilers' common ABI encodes it.
template <class Member>
std::size_t slotOf(Member member) {
  std::ptrdiff_t encoded = 0;
  std::memcpy(&encoded, &member, sizeof(encoded));
  return static_cast<std::size_t>(encoded - 1) / sizeof(void*);
}

TEST(DataEntryLayout, KeepsTheOrderOfVirtualOperations) {
  // The destructor takes the first two slots.
  EXPECT_EQ(slotOf(&DataEntryBase::getTypeString), 2U);
  EXPECT_EQ(slotOf(&DataEntryBase::toRecordFormat), 3U);
  EXPECT_EQ(slotOf(&DataEntryBase::fromRecord), 4U);
  EXPECT_EQ(slotOf(&DataEntryBase::registerToTlm), 5U);
}

/// What a producer was last asked to register.
struct Registration {
  void* address;
  std::string section, name;
  tlm_var_type type;
  unsigned long elementBytes, count;
  unsigned int flags;
  timespec* timestamp;
  unsigned long timestampCount;
} registration;

template <class T>
void expectNames(Types type, const char* typeString, int tlmType) {
  T field{};
  DataEntry<T> entry("inputs.field", &field);
  EXPECT_EQ(entry.type, type);
  EXPECT_STREQ(entry.getTypeString(), typeString);
  telemetry::Producer producer("navdata");
  takeLogLines();
  EXPECT_EQ(entry.registerToTlm(producer), -EEXIST);  // the producer's result comes back
  EXPECT_EQ(takeLogLines(), std::vector<std::string>{"<7>Registering inputs.field into telemetry"});
  const Registration& seen = registration;
  EXPECT_EQ(std::tie(seen.section, seen.name), std::make_tuple("navdata", "inputs.field"));
  EXPECT_EQ(seen.address, &field);
  EXPECT_EQ(static_cast<int>(seen.type), tlmType) << typeString;
  EXPECT_EQ(std::tie(seen.elementBytes, seen.count, seen.flags, seen.timestamp, seen.timestampCount),
            std::make_tuple(sizeof(T), 1UL, 0U, static_cast<timespec*>(nullptr), 1UL));
}

TEST(DataEntryNames, FollowTheFieldType) {
  expectNames<bool>(TYPES_BOOL, "TYPES_BOOL", 0);
  expectNames<float>(TYPES_FLOAT, "TYPES_FLOAT", 9);
  expectNames<double>(TYPES_DOUBLE, "TYPES_DOUBLE", 10);
  expectNames<short>(TYPES_INT16, "TYPES_INT16", 4);
  expectNames<int>(TYPES_INT32, "TYPES_INT32", 6);
  expectNames<long>(TYPES_INT64, "TYPES_INT64", 8);
  expectNames<unsigned char>(TYPES_UINT8, "TYPES_UINT8", 1);
  expectNames<unsigned short>(TYPES_UINT16, "TYPES_UINT16", 3);
  expectNames<unsigned int>(TYPES_UINT32, "TYPES_UINT32", 5);
  expectNames<unsigned long>(TYPES_UINT64, "TYPES_UINT64", 7);
  expectNames<Trajectory>(TYPES_FOLLOW_ME_TRAJECTORY, "TYPES_FOLLOW_ME_TRAJECTORY", 6);
  const int numbers[] = {TYPES_INVALID, TYPES_BOOL,   TYPES_FLOAT,  TYPES_DOUBLE,
                         TYPES_INT16,   TYPES_INT32,  TYPES_INT64,  TYPES_UINT8,
                         TYPES_UINT16,  TYPES_UINT32, TYPES_UINT64, TYPES_FOLLOW_ME_TRAJECTORY};
  EXPECT_THAT(numbers, testing::ElementsAre(0, 1, 3, 4, 6, 7, 8, 9, 10, 11, 12, 13));
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
