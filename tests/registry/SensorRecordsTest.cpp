#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <utility>

#include "registry/Introspect.hpp"
#include "support/LogProbe.hpp"

namespace {

// All fields in the order of their registration: the record with a colon, "@" and the offset in
// `sensors_data`, the type, and the names of the fields that lie there one behind the other.
constexpr const char* FIELDS = R"(
gps: @1180 INT32 flags
gps.location: @440 DOUBLE latitude longitude amsl_altitude @488 UINT64 timestamp
gps.extra_eride: @1048 FLOAT lat_err lon_err alt_err east_vel north_vel up_vel vel_sigma
gps: @1036 INT32 extra_common.sv_used_cnt
us: @392 FLOAT altitude altitude_v2 @404 INT32 measure_index range_mode
tof_vertical: @1328 FLOAT distance magnitude temperature ambient
tof_vertical: @1352 INT32 flags @1344 invalid_flags qualification
baro: @240 INT32 flags @236 FLOAT temperature @232 pressure
magneto: @264 FLOAT x y z temperature
battery: @1212 FLOAT voltage current UINT32 capacity FLOAT full_charge_cap remaining_cap
battery: @1232 INT32 time_to_empty @1252 UINT32 cycle_count
motors: @296 INT32 braking ramping spinning nominal idle
motors: @316 UINT16 speeds[0].rpm @320 speeds[1].rpm @324 speeds[2].rpm @328 speeds[3].rpm
motors: @318 UINT8 speeds[0].pwm @322 speeds[1].pwm @326 speeds[2].pwm @330 speeds[3].pwm
motors: @348 INT32 status[0] status[1] status[2] status[3] @384 FLOAT vbat
carpet_detection: @1448 FLOAT x y z orientation INT32 nb_targets
carpet_detection: @1472 INT64 ts.tv_sec ts.tv_nsec @1488 BOOL active
vcam_position: @1496 FLOAT position.x position.y position.z discriminable_ft_ratio
vcam_position: @1512 UINT32 status @1520 UINT64 last_ref_image_ts INT64 ts.tv_sec ts.tv_nsec
fstcam_position: @1544 FLOAT position.x position.y position.z discriminable_ft_ratio
fstcam_position: @1560 UINT32 status @1568 UINT64 last_ref_image_ts INT64 ts.tv_sec ts.tv_nsec
vcam_optical_flow.optical_flow: @1592 FLOAT x y z
vcam_optical_flow.estimated_camera_offset: @1604 FLOAT x y z
vcam_optical_flow: @1616 FLOAT quality_indicator UINT32 nb_valid_zones UINT8 defined
vcam_optical_flow.ts: @1632 INT64 tv_sec tv_nsec
: @1880 UINT32 flags
imu: @145 UINT8 nb_samples
imu: @120 FLOAT temp[0] @0 gyro[0].x gyro[0].y gyro[0].z @60 acc[0].x acc[0].y acc[0].z
imu.timestamp[0]: @152 INT64 tv_sec tv_nsec
imu: @124 FLOAT temp[1] @12 gyro[1].x gyro[1].y gyro[1].z @72 acc[1].x acc[1].y acc[1].z
imu.timestamp[1]: @168 INT64 tv_sec tv_nsec
imu: @128 FLOAT temp[2] @24 gyro[2].x gyro[2].y gyro[2].z @84 acc[2].x acc[2].y acc[2].z
imu.timestamp[2]: @184 INT64 tv_sec tv_nsec
imu: @132 FLOAT temp[3] @36 gyro[3].x gyro[3].y gyro[3].z @96 acc[3].x acc[3].y acc[3].z
imu.timestamp[3]: @200 INT64 tv_sec tv_nsec
imu: @136 FLOAT temp[4] @48 gyro[4].x gyro[4].y gyro[4].z @108 acc[4].x acc[4].y acc[4].z
imu.timestamp[4]: @216 INT64 tv_sec tv_nsec)";

/// A registered field, with the first and the last of its bytes.
std::string field(const std::string& type, const std::string& name, std::size_t first, std::size_t last) {
  return type + " inputs.sensors." + name + " " + std::to_string(first) + " to " + std::to_string(last);
}

std::vector<std::string> expectedFields() {
  const std::map<std::string, std::size_t> widths = {{"BOOL", 1},  {"UINT8", 1},  {"UINT16", 2},
                                                     {"INT32", 4}, {"UINT32", 4}, {"INT64", 8},
                                                     {"FLOAT", 4}, {"DOUBLE", 8}, {"UINT64", 8}};
  std::vector<std::string> fields;
  std::istringstream words(FIELDS);
  std::string record, type;
  std::size_t place = 0;
  for (std::string word; words >> word;) {
    if (word.back() == ':') {
      record = word == ":" ? "" : word.replace(word.size() - 1, 1, ".");
    } else if (word.front() == '@') {
      place = std::stoul(word.substr(1));
    } else if (widths.count(word) != 0) {
      type = word;
    } else {
      const std::size_t first = std::exchange(place, place + widths.at(type));
      fields.push_back(field("TYPES_" + type, record + word, first, place - 1));
    }
  }
  return fields;
}

TEST(SensorRecords, RegisterEveryFieldInOrderAtItsPlace) {
  sensors_data sensors;
  DataRegistry registry;
  Registrator registrator(registry);
  takeLogLines();
  introspect<sensors_data, Registrator>(registrator, sensors, "inputs.sensors");
  std::vector<std::string> fields;
  for (const std::string& line : takeLogLines()) {
    const std::string start = "<7>New registry entry in un-named registry: inputs.sensors.";
    const DataEntryBase& entry = *registry.entries.at(line.substr(start.find("inputs")));
    std::memset(&sensors, 0, sizeof(sensors));
    // In no type has the number a byte that is zero.
    double value = entry.type == TYPES_FLOAT || entry.type == TYPES_DOUBLE ? -1.2345678901234567 : -1;
    entry.fromRecord(value);
    const std::string image(reinterpret_cast<const char*>(&sensors), sizeof(sensors));
    const std::string zero(1, '\0');
    fields.push_back(field(entry.getTypeString(), line.substr(start.size()), image.find_first_not_of(zero),
                           image.find_last_not_of(zero)));
  }
  EXPECT_EQ(fields, expectedFields());
  EXPECT_EQ(fields.size(), 138U);
}

}  // namespace
