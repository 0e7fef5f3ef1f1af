#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "registry/Introspect.hpp"
#include "registry/SensorRecords.hpp"
#include "support/LogProbe.hpp"

namespace {

// Every entry in the order of registration, its record's name before those of all its fields, with the byte
// that it is bound to: 4 behind the entry before it where none is given.
constexpr const char* ENTRIES =
    "gps: flags@1180 gps.location: latitude@440 longitude@448 amsl_altitude@456 timestamp@488 "
    "gps.extra_eride: lat_err@1048 lon_err alt_err east_vel north_vel up_vel vel_sigma gps: "
    "extra_common.sv_used_cnt@1036 us: altitude@392 altitude_v2 measure_index@404 range_mode "
    "tof_vertical: distance@1328 magnitude temperature ambient flags@1352 invalid_flags@1344 "
    "qualification baro: flags@240 temperature@236 pressure@232 magneto: x@264 y z temperature battery: "
    "voltage@1212 current capacity full_charge_cap remaining_cap time_to_empty cycle_count@1252 motors: "
    "braking@296 ramping spinning nominal idle speeds[0].rpm speeds[1].rpm speeds[2].rpm speeds[3].rpm "
    "speeds[0].pwm@318 speeds[1].pwm speeds[2].pwm speeds[3].pwm status[0]@348 status[1] status[2] "
    "status[3] vbat@384 carpet_detection: x@1448 y z orientation nb_targets carpet_detection.ts: "
    "tv_sec@1472 tv_nsec@1480 carpet_detection: active@1488 vcam_position.position: x@1496 y z "
    "vcam_position: discriminable_ft_ratio status last_ref_image_ts@1520 vcam_position.ts: tv_sec@1528 "
    "tv_nsec@1536 fstcam_position.position: x@1544 y z fstcam_position: discriminable_ft_ratio status "
    "last_ref_image_ts@1568 fstcam_position.ts: tv_sec@1576 tv_nsec@1584 "
    "vcam_optical_flow.optical_flow: x@1592 y z vcam_optical_flow.estimated_camera_offset: x y z "
    "vcam_optical_flow: quality_indicator nb_valid_zones defined vcam_optical_flow.ts: tv_sec@1632 "
    "tv_nsec@1640 : flags@1880 imu: nb_samples@145 temp[0]@120 imu.gyro[0]: x@0 y z imu.acc[0]: x@60 y "
    "z imu.timestamp[0]: tv_sec@152 tv_nsec@160 imu: temp[1]@124 imu.gyro[1]: x@12 y z imu.acc[1]: x@72 "
    "y z imu.timestamp[1]: tv_sec@168 tv_nsec@176 imu: temp[2]@128 imu.gyro[2]: x@24 y z imu.acc[2]: "
    "x@84 y z imu.timestamp[2]: tv_sec@184 tv_nsec@192 imu: temp[3]@132 imu.gyro[3]: x@36 y z "
    "imu.acc[3]: x@96 y z imu.timestamp[3]: tv_sec@200 tv_nsec@208 imu: temp[4]@136 imu.gyro[4]: x@48 y "
    "z imu.acc[4]: x@108 y z imu.timestamp[4]: tv_sec@216 tv_nsec@224";

/// The first byte that changes when the entry receives a number with no zero byte in any type.
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
  DataRegistry registry;
  Registrator registrator(registry);
  takeLogLines();
  introspect<sensors_data, Registrator>(registrator, sensors, "inputs.sensors");
  const std::vector<std::string> lines = takeLogLines();

  std::istringstream entries(ENTRIES);
  std::string record;
  std::vector<std::string> expected;
  std::size_t place = 0;
  for (std::string entry; entries >> entry;) {
    if (entry.back() == ':') {
      record = entry == ":" ? "" : entry.replace(entry.size() - 1, 1, ".");
      continue;
    }
    const std::size_t at = entry.find('@');
    place = at == std::string::npos ? place + 4 : std::stoul(entry.substr(at + 1));
    const std::string name = "inputs.sensors." + record + entry.substr(0, at);
    expected.push_back("<7>New registry entry in un-named registry: " + name);
    EXPECT_EQ(firstByteWritten(*registry.entries.at(name), sensors), place) << name;
  }
  EXPECT_EQ(lines, expected);
  EXPECT_EQ(registry.entries.size(), 138U);
}

}  // namespace
