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

// Every entry in the order of registration, its record's name before those of all its fields, with the byte
// that it is bound to: 4 behind the entry before it where none is given.
constexpr const char* ENTRIES =
    "gps: flags@1180 location.latitude@440 location.longitude@448 location.amsl_altitude@456 "
    "location.timestamp@488 extra_eride.lat_err@1048 extra_eride.lon_err extra_eride.alt_err "
    "extra_eride.east_vel extra_eride.north_vel extra_eride.up_vel extra_eride.vel_sigma "
    "extra_common.sv_used_cnt@1036 us: altitude@392 altitude_v2 measure_index@404 range_mode "
    "tof_vertical: distance@1328 magnitude temperature ambient flags@1352 invalid_flags@1344 "
    "qualification baro: flags@240 temperature@236 pressure@232 magneto: x@264 y z temperature battery: "
    "voltage@1212 current capacity full_charge_cap remaining_cap time_to_empty cycle_count@1252 motors: "
    "braking@296 ramping spinning nominal idle speeds[0].rpm speeds[1].rpm speeds[2].rpm speeds[3].rpm "
    "speeds[0].pwm@318 speeds[1].pwm speeds[2].pwm speeds[3].pwm status[0]@348 status[1] status[2] "
    "status[3] vbat@384 carpet_detection: x@1448 y z orientation nb_targets ts.tv_sec@1472 "
    "ts.tv_nsec@1480 active@1488 vcam_position: position.x@1496 position.y position.z "
    "discriminable_ft_ratio status last_ref_image_ts@1520 ts.tv_sec@1528 ts.tv_nsec@1536 "
    "fstcam_position: position.x@1544 position.y position.z discriminable_ft_ratio status "
    "last_ref_image_ts@1568 ts.tv_sec@1576 ts.tv_nsec@1584 vcam_optical_flow: optical_flow.x@1592 "
    "optical_flow.y optical_flow.z estimated_camera_offset.x estimated_camera_offset.y "
    "estimated_camera_offset.z quality_indicator nb_valid_zones defined ts.tv_sec@1632 ts.tv_nsec@1640 : "
    "flags@1880 imu: nb_samples@145 temp[0]@120 gyro[0].x@0 gyro[0].y gyro[0].z acc[0].x@60 acc[0].y "
    "acc[0].z timestamp[0].tv_sec@152 timestamp[0].tv_nsec@160 temp[1]@124 gyro[1].x@12 gyro[1].y "
    "gyro[1].z acc[1].x@72 acc[1].y acc[1].z timestamp[1].tv_sec@168 timestamp[1].tv_nsec@176 "
    "temp[2]@128 gyro[2].x@24 gyro[2].y gyro[2].z acc[2].x@84 acc[2].y acc[2].z timestamp[2].tv_sec@184 "
    "timestamp[2].tv_nsec@192 temp[3]@132 gyro[3].x@36 gyro[3].y gyro[3].z acc[3].x@96 acc[3].y acc[3].z "
    "timestamp[3].tv_sec@200 timestamp[3].tv_nsec@208 temp[4]@136 gyro[4].x@48 gyro[4].y gyro[4].z "
    "acc[4].x@108 acc[4].y acc[4].z timestamp[4].tv_sec@216 timestamp[4].tv_nsec@224";

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
  std::memset(&sensors, 0, sizeof(sensors));
  DataRegistry registry;
  Registrator registrator(registry);
  takeLogLines();
  introspect<sensors_data, Registrator>(registrator, sensors, "inputs.sensors");
  const std::vector<std::string> lines = takeLogLines();

  std::istringstream entries(ENTRIES);
  std::string record;
  std::size_t position = 0;
  std::size_t place = 0;
  for (std::string entry; entries >> entry;) {
    if (entry.back() == ':') {
      record = entry == ":" ? "" : entry.replace(entry.size() - 1, 1, ".");
      continue;
    }
    const std::size_t at = entry.find('@');
    place = at == std::string::npos ? place + 4 : std::stoul(entry.substr(at + 1));
    const std::string name = "inputs.sensors." + record + entry.substr(0, at);
    ASSERT_LT(position, lines.size());
    EXPECT_EQ(lines[position++], "<7>New registry entry in un-named registry: " + name);
    EXPECT_EQ(firstByteWritten(*registry.entries.at(name), sensors), place) << name;
  }
  EXPECT_EQ(position, lines.size());
  EXPECT_EQ(registry.entries.size(), 138U);
}

}  // namespace
