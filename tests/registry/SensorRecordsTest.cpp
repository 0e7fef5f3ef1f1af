#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <sstream>
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

// Every entry in the order of registration, with the byte of the record that it is bound to.
constexpr const char* ENTRIES =
    "gps.flags@1180 gps.location.latitude@440 gps.location.longitude@448 "
    "gps.location.amsl_altitude@456 gps.location.timestamp@488 gps.extra_eride.lat_err@1048 "
    "gps.extra_eride.lon_err@1052 gps.extra_eride.alt_err@1056 gps.extra_eride.east_vel@1060 "
    "gps.extra_eride.north_vel@1064 gps.extra_eride.up_vel@1068 gps.extra_eride.vel_sigma@1072 "
    "gps.extra_common.sv_used_cnt@1036 us.altitude@392 us.altitude_v2@396 us.measure_index@404 "
    "us.range_mode@408 tof_vertical.distance@1328 tof_vertical.magnitude@1332 "
    "tof_vertical.temperature@1336 tof_vertical.ambient@1340 tof_vertical.flags@1352 "
    "tof_vertical.invalid_flags@1344 tof_vertical.qualification@1348 baro.flags@240 "
    "baro.temperature@236 baro.pressure@232 magneto.x@264 magneto.y@268 magneto.z@272 "
    "magneto.temperature@276 battery.voltage@1212 battery.current@1216 battery.capacity@1220 "
    "battery.full_charge_cap@1224 battery.remaining_cap@1228 battery.time_to_empty@1232 "
    "battery.cycle_count@1252 motors.braking@296 motors.ramping@300 motors.spinning@304 "
    "motors.nominal@308 motors.idle@312 motors.speeds[0].rpm@316 motors.speeds[1].rpm@320 "
    "motors.speeds[2].rpm@324 motors.speeds[3].rpm@328 motors.speeds[0].pwm@318 "
    "motors.speeds[1].pwm@322 motors.speeds[2].pwm@326 motors.speeds[3].pwm@330 motors.status[0]@348 "
    "motors.status[1]@352 motors.status[2]@356 motors.status[3]@360 motors.vbat@384 "
    "carpet_detection.x@1448 carpet_detection.y@1452 carpet_detection.z@1456 "
    "carpet_detection.orientation@1460 carpet_detection.nb_targets@1464 "
    "carpet_detection.ts.tv_sec@1472 carpet_detection.ts.tv_nsec@1480 carpet_detection.active@1488 "
    "vcam_position.position.x@1496 vcam_position.position.y@1500 vcam_position.position.z@1504 "
    "vcam_position.discriminable_ft_ratio@1508 vcam_position.status@1512 "
    "vcam_position.last_ref_image_ts@1520 vcam_position.ts.tv_sec@1528 vcam_position.ts.tv_nsec@1536 "
    "fstcam_position.position.x@1544 fstcam_position.position.y@1548 fstcam_position.position.z@1552 "
    "fstcam_position.discriminable_ft_ratio@1556 fstcam_position.status@1560 "
    "fstcam_position.last_ref_image_ts@1568 fstcam_position.ts.tv_sec@1576 "
    "fstcam_position.ts.tv_nsec@1584 vcam_optical_flow.optical_flow.x@1592 "
    "vcam_optical_flow.optical_flow.y@1596 vcam_optical_flow.optical_flow.z@1600 "
    "vcam_optical_flow.estimated_camera_offset.x@1604 vcam_optical_flow.estimated_camera_offset.y@1608 "
    "vcam_optical_flow.estimated_camera_offset.z@1612 vcam_optical_flow.quality_indicator@1616 "
    "vcam_optical_flow.nb_valid_zones@1620 vcam_optical_flow.defined@1624 "
    "vcam_optical_flow.ts.tv_sec@1632 vcam_optical_flow.ts.tv_nsec@1640 flags@1880 imu.nb_samples@145 "
    "imu.temp[0]@120 imu.gyro[0].x@0 imu.gyro[0].y@4 imu.gyro[0].z@8 imu.acc[0].x@60 imu.acc[0].y@64 "
    "imu.acc[0].z@68 imu.timestamp[0].tv_sec@152 imu.timestamp[0].tv_nsec@160 imu.temp[1]@124 "
    "imu.gyro[1].x@12 imu.gyro[1].y@16 imu.gyro[1].z@20 imu.acc[1].x@72 imu.acc[1].y@76 "
    "imu.acc[1].z@80 imu.timestamp[1].tv_sec@168 imu.timestamp[1].tv_nsec@176 imu.temp[2]@128 "
    "imu.gyro[2].x@24 imu.gyro[2].y@28 imu.gyro[2].z@32 imu.acc[2].x@84 imu.acc[2].y@88 "
    "imu.acc[2].z@92 imu.timestamp[2].tv_sec@184 imu.timestamp[2].tv_nsec@192 imu.temp[3]@132 "
    "imu.gyro[3].x@36 imu.gyro[3].y@40 imu.gyro[3].z@44 imu.acc[3].x@96 imu.acc[3].y@100 "
    "imu.acc[3].z@104 imu.timestamp[3].tv_sec@200 imu.timestamp[3].tv_nsec@208 imu.temp[4]@136 "
    "imu.gyro[4].x@48 imu.gyro[4].y@52 imu.gyro[4].z@56 imu.acc[4].x@108 imu.acc[4].y@112 "
    "imu.acc[4].z@116 imu.timestamp[4].tv_sec@216 imu.timestamp[4].tv_nsec@224";

/// The first byte of the record that changes when the entry receives a number with no zero byte in any
/// type.
std::size_t firstByteWritten(const DataEntryBase& entry, sensors_data& sensors) {
  std::memset(&sensors, 0, sizeof(sensors));
  const bool floating = entry.type == TYPES_FLOAT || entry.type == TYPES_DOUBLE;
  double value = floating ? -1.2345678901234567 : -1.0;
  entry.fromRecord(value);
  const auto* image = reinterpret_cast<const unsigned char*>(&sensors);
  std::size_t first = 0;
  while (first < sizeof(sensors) && image[first] == 0) ++first;
  return first;
}

TEST(SensorRecords, RegisterEveryFieldInOrderAtItsPlace) {
  sensors_data sensors;
  std::memset(&sensors, 0, sizeof(sensors));
  DataRegistry registry;
  Registrator registrator(registry);
  takeLogLines();
  introspect<sensors_data, Registrator>(registrator, sensors, "inputs.sensors");
  const std::vector<std::string> lines = takeLogLines();

  std::istringstream entries(ENTRIES);
  std::size_t position = 0;
  for (std::string entry; entries >> entry; ++position) {
    const std::size_t at = entry.find('@');
    const std::string name = "inputs.sensors." + entry.substr(0, at);
    ASSERT_LT(position, lines.size());
    EXPECT_EQ(lines[position], "<7>New registry entry in un-named registry: " + name);
    EXPECT_EQ(firstByteWritten(*registry.entries.at(name), sensors), std::stoul(entry.substr(at + 1)))
        << name;
  }
  EXPECT_EQ(position, lines.size());
  EXPECT_EQ(registry.entries.size(), 138U);
}

TEST(SensorRecords, HaveNoLeadingDotWithoutAPrefix) {
  sensors_data sensors{};
  DataRegistry registry;
  Registrator registrator(registry);
  introspect<sensors_data, Registrator>(registrator, sensors, "");
  EXPECT_EQ(registry.entries.count("flags"), 1U);
  EXPECT_EQ(registry.entries.count("imu.temp[0]"), 1U);
}

}  // namespace
