#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <map>
#include <type_traits>
#include <utility>

#include "registry/Introspect.hpp"
#include "registry/SensorRecords.hpp"
#include "support/LogProbe.hpp"

namespace {

template <class T, class = void>
struct CanIntrospect : std::false_type {};
template <class T>
struct CanIntrospect<T, std::void_t<decltype(introspect(std::declval<Registrator&>(), std::declval<T&>(),
                                                        std::declval<const std::string&>()))>>
    : std::true_type {};
static_assert(CanIntrospect<sensors_data>::value && !CanIntrospect<const sensors_data>::value);

class SensorRecords : public testing::Test {
 protected:
  SensorRecords() {
    std::memset(&sensors, 0, sizeof(sensors));
    Registrator registrator(registry);
    takeLogLines();
    introspect<sensors_data, Registrator>(registrator, sensors, "inputs.sensors");
    lines = takeLogLines();
  }

  /// The bytes of the record that change when `name` receives -1: first offset, and how many.
  std::pair<std::size_t, std::size_t> bytesOf(const std::string& name) {
    std::memset(&sensors, 0, sizeof(sensors));
    double value = -1.0;  // sets every byte of an integer, and the high bytes of a floating-point number
    registry.entries.at(name)->fromRecord(value);
    const auto* image = reinterpret_cast<const unsigned char*>(&sensors);
    std::size_t first = 0;
    while (first < sizeof(sensors) && image[first] == 0) ++first;
    std::size_t last = sizeof(sensors);
    while (last > first && image[last - 1] == 0) --last;
    return {first, last - first};
  }

  sensors_data sensors;
  DataRegistry registry;
  std::vector<std::string> lines;
};

TEST_F(SensorRecords, RegistersEachFieldOnceWithItsType) {
  EXPECT_EQ(lines.size(), 138U);
  EXPECT_EQ(registry.entries.size(), 138U);
  std::map<Types, int> counts;
  for (const auto& [name, entry] : registry.entries) ++counts[entry->type];
  const std::map<Types, int> expected = {{TYPES_FLOAT, 78}, {TYPES_INT32, 19}, {TYPES_INT64, 18},
                                         {TYPES_UINT8, 6},  {TYPES_UINT32, 6}, {TYPES_UINT16, 4},
                                         {TYPES_DOUBLE, 3}, {TYPES_UINT64, 3}, {TYPES_BOOL, 1}};
  EXPECT_EQ(counts, expected);
}

TEST_F(SensorRecords, RegistersInTheStatedOrder) {
  const std::pair<std::size_t, const char*> samples[] = {
      {0, "gps.flags"},
      {4, "gps.location.timestamp"},
      {12, "gps.extra_common.sv_used_cnt"},
      {13, "us.altitude"},
      {21, "tof_vertical.flags"},
      {22, "tof_vertical.invalid_flags"},
      {24, "baro.flags"},
      {27, "magneto.x"},
      {31, "battery.voltage"},
      {38, "motors.braking"},
      {43, "motors.speeds[0].rpm"},
      {47, "motors.speeds[0].pwm"},
      {51, "motors.status[0]"},
      {56, "carpet_detection.x"},
      {64, "vcam_position.position.x"},
      {72, "fstcam_position.position.x"},
      {80, "vcam_optical_flow.optical_flow.x"},
      {91, "flags"},
      {92, "imu.nb_samples"},
      {93, "imu.temp[0]"},
      {94, "imu.gyro[0].x"},
      {97, "imu.acc[0].x"},
      {100, "imu.timestamp[0].tv_sec"},
      {102, "imu.temp[1]"},
      {137, "imu.timestamp[4].tv_nsec"},
  };
  for (const auto& [position, name] : samples) {
    EXPECT_EQ(lines[position],
              std::string("<7>New registry entry in un-named registry: inputs.sensors.") + name);
  }
}

TEST_F(SensorRecords, BindsNamesToTheirPlaceInTheImage) {
  const std::tuple<const char*, std::size_t, std::size_t> fields[] = {
      {"imu.acc[1].x", 72, 4},
      {"imu.nb_samples", 145, 1},
      {"imu.timestamp[4].tv_nsec", 224, 8},
      {"baro.pressure", 232, 4},
      {"motors.speeds[2].rpm", 324, 2},
      {"motors.speeds[2].pwm", 326, 1},
      {"motors.vbat", 384, 4},
      {"gps.location.latitude", 440, 8},
      {"gps.location.timestamp", 488, 8},
      {"gps.flags", 1180, 4},
      {"battery.voltage", 1212, 4},
      {"battery.cycle_count", 1252, 4},
      {"tof_vertical.invalid_flags", 1344, 4},
      {"tof_vertical.flags", 1352, 4},
      {"carpet_detection.active", 1488, 1},
      {"fstcam_position.last_ref_image_ts", 1568, 8},
      {"fstcam_position.ts.tv_nsec", 1584, 8},
      {"vcam_optical_flow.defined", 1624, 1},
      {"flags", 1880, 4},
  };
  for (const auto& [name, offset, width] : fields) {
    const auto [first, bytes] = bytesOf(std::string("inputs.sensors.") + name);
    // A floating-point -1 leaves its low bytes zero; the last byte is always set.
    EXPECT_EQ(first + bytes, offset + width) << name;
    EXPECT_GE(first, offset) << name;
  }
}

TEST(SensorRecordNames, HaveNoLeadingDotWithoutAPrefix) {
  sensors_data sensors{};
  DataRegistry registry;
  Registrator registrator(registry);
  introspect<sensors_data, Registrator>(registrator, sensors, "");
  EXPECT_EQ(registry.entries.count("flags"), 1U);
  EXPECT_EQ(registry.entries.count("imu.temp[0]"), 1U);
}

}  // namespace
