#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "registry/Introspect.hpp"
#include "support/LogProbe.hpp"

namespace {

// All fields in the order of their registration: a record's prefix and a colon, "@" and the offset in
// `sensors_data` where a field leaves a gap or goes back, the type where it changes, the rest of the names.
constexpr const char* FIELDS = R"(
gps.: @1180 INT32 flags @440 DOUBLE location.latitude location.longitude location.amsl_altitude
@488 UINT64 location.timestamp @1048 FLOAT extra_eride.lat_err extra_eride.lon_err extra_eride.alt_err
extra_eride.east_vel extra_eride.north_vel extra_eride.up_vel extra_eride.vel_sigma
@1036 INT32 extra_common.sv_used_cnt
us.: @392 FLOAT altitude altitude_v2 @404 INT32 measure_index range_mode
tof_vertical.: @1328 FLOAT distance magnitude temperature ambient
@1352 INT32 flags @1344 invalid_flags qualification
baro.: @240 INT32 flags @236 FLOAT temperature @232 pressure magneto.: @264 FLOAT x y z temperature
battery.: @1212 FLOAT voltage current UINT32 capacity FLOAT full_charge_cap remaining_cap
INT32 time_to_empty @1252 UINT32 cycle_count
motors.: @296 INT32 braking ramping spinning nominal idle UINT16 speeds[0].rpm @320 speeds[1].rpm
@324 speeds[2].rpm @328 speeds[3].rpm @318 UINT8 speeds[0].pwm @322 speeds[1].pwm @326 speeds[2].pwm
@330 speeds[3].pwm @348 INT32 status[0] status[1] status[2] status[3] @384 FLOAT vbat
carpet_detection.: @1448 FLOAT x y z orientation INT32 nb_targets @1472 INT64 ts.tv_sec ts.tv_nsec
BOOL active
vcam_position.: @1496 FLOAT position.x position.y position.z discriminable_ft_ratio
UINT32 status @1520 UINT64 last_ref_image_ts INT64 ts.tv_sec ts.tv_nsec
fstcam_position.: @1544 FLOAT position.x position.y position.z discriminable_ft_ratio
UINT32 status @1568 UINT64 last_ref_image_ts INT64 ts.tv_sec ts.tv_nsec
vcam_optical_flow.: @1592 FLOAT optical_flow.x optical_flow.y optical_flow.z estimated_camera_offset.x
estimated_camera_offset.y estimated_camera_offset.z quality_indicator UINT32 nb_valid_zones UINT8 defined
@1632 INT64 ts.tv_sec ts.tv_nsec : @1880 UINT32 flags
imu.: @145 UINT8 nb_samples @120 FLOAT temp[0] @0 gyro[0].x gyro[0].y gyro[0].z @60 acc[0].x acc[0].y
acc[0].z @152 INT64 timestamp[0].tv_sec timestamp[0].tv_nsec @124 FLOAT temp[1] @12 gyro[1].x gyro[1].y
gyro[1].z @72 acc[1].x acc[1].y acc[1].z @168 INT64 timestamp[1].tv_sec timestamp[1].tv_nsec @128 FLOAT
temp[2] @24 gyro[2].x gyro[2].y gyro[2].z @84 acc[2].x acc[2].y acc[2].z @184 INT64 timestamp[2].tv_sec
timestamp[2].tv_nsec @132 FLOAT temp[3] @36 gyro[3].x gyro[3].y gyro[3].z @96 acc[3].x acc[3].y acc[3].z
@200 INT64 timestamp[3].tv_sec timestamp[3].tv_nsec @136 FLOAT temp[4] @48 gyro[4].x gyro[4].y gyro[4].z
@108 acc[4].x acc[4].y acc[4].z @216 INT64 timestamp[4].tv_sec timestamp[4].tv_nsec)";

TEST(SensorRecords, RegisterEveryFieldInOrderAtItsPlace) {
  sensors_data sensors;
  DataRegistry registry;
  Registrator registrator(registry);
  takeLogLines();
  introspect<sensors_data, Registrator>(registrator, sensors, "inputs.sensors");
  std::string registered, lastRecord = "none", lastType;
  std::size_t end = 0;
  for (const std::string& line : takeLogLines()) {
    const std::string name = line.substr(std::strlen("<7>New registry entry in un-named registry: "));
    const std::string field = name.substr(std::strlen("inputs.sensors."));
    const std::string record = field.substr(0, field.find('.') + 1);  // empty for a field of no record
    const DataEntryBase& entry = *registry.entries.at(name);
    const std::string type = entry.getTypeString();
    std::memset(&sensors, 0, sizeof(sensors));
    // In no type has the number a byte that is zero.
    double value = type == "TYPES_FLOAT" || type == "TYPES_DOUBLE" ? -1.2345678901234567 : -1;
    entry.fromRecord(value);
    const std::string image(reinterpret_cast<const char*>(&sensors), sizeof(sensors));
    const std::size_t offset = image.find_first_not_of('\0');
    if (record != lastRecord) registered += "\n" + record + ":";
    if (record != lastRecord || offset != end) registered += "\n@" + std::to_string(offset);
    if (record != lastRecord || type != lastType) registered += "\n" + type.substr(std::strlen("TYPES_"));
    registered += "\n" + field.substr(record.size());
    lastRecord = record;
    lastType = type;
    end = image.find_last_not_of('\0') + 1;
  }
  std::string expected = FIELDS;
  std::replace(expected.begin(), expected.end(), ' ', '\n');
  EXPECT_EQ(registered, expected);
}

}  // namespace
