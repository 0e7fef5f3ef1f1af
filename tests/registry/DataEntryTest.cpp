#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>

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

template <class T>
class EntryNames : public testing::Test {};

template <class T, int typeValue, int tlmValue>
struct Expected {
  using Field = T;
  static constexpr int type = typeValue;
  static constexpr int tlmType = tlmValue;
};
using AllTypes = testing::Types<Expected<bool, 1, 0>, Expected<float, 3, 9>, Expected<double, 4, 10>,
                                Expected<short, 6, 4>, Expected<int, 7, 6>, Expected<long, 8, 8>,
                                Expected<unsigned char, 9, 1>, Expected<unsigned short, 10, 3>,
                                Expected<unsigned int, 11, 5>, Expected<unsigned long, 12, 7>,
                                Expected<Trajectory, 13, 6>>;
TYPED_TEST_SUITE(EntryNames, AllTypes);

TYPED_TEST(EntryNames, RegistersTheFieldIntoTelemetryOnce) {
  typename TypeParam::Field field{};
  DataEntry<typename TypeParam::Field> entry("inputs.field", &field);
  telemetry::Producer producer("section");
  takeLogLines();

  EXPECT_EQ(entry.registerToTlm(producer), 0);
  EXPECT_EQ(takeLogLines(), std::vector<std::string>{"<7>Registering inputs.field into telemetry"});
  ASSERT_EQ(producer.variables().size(), 1U);
  const auto& variable = producer.variables().front();
  EXPECT_EQ(variable.address, &field);
  EXPECT_EQ(variable.name, "inputs.field");
  EXPECT_EQ(static_cast<int>(variable.type), TypeParam::tlmType);
  EXPECT_EQ(variable.elementBytes, sizeof(field));
  EXPECT_EQ(variable.count, 1U);
  EXPECT_EQ(static_cast<int>(entry.type), TypeParam::type);

  EXPECT_EQ(entry.registerToTlm(producer), -EEXIST);  // the producer's result comes back
}

}  // namespace
