#include "registry/SensorRecords.hpp"

#include <cstddef>
#include <type_traits>
#include <utility>

#include "registry/Introspect.hpp"

using Ostrel::Utils::join;

// The flight-control library copies the record as raw bytes, so every offset is an interface.
#define EXPECT_RECORD(record, bytes, alignment)                                \
  static_assert(sizeof(record) == (bytes) && alignof(record) == (alignment) && \
                std::is_trivially_copyable_v<record> && std::is_standard_layout_v<record>)
// NOLINTBEGIN(bugprone-macro-parentheses): a type takes none
#define EXPECT_FIELD(record, field, type, offset)      \
  static_assert(offsetof(record, field) == (offset) && \
                std::is_same_v<decltype(std::declval<record&>().field), type>)
// NOLINTEND(bugprone-macro-parentheses)

EXPECT_RECORD(sensor_vector, 12, 4);
EXPECT_FIELD(sensor_vector, x, float, 0);
EXPECT_FIELD(sensor_vector, y, float, 4);
EXPECT_FIELD(sensor_vector, z, float, 8);

EXPECT_RECORD(timespec, 16, 8);
EXPECT_FIELD(timespec, tv_sec, long, 0);
EXPECT_FIELD(timespec, tv_nsec, long, 8);

EXPECT_RECORD(sensor_imu_data, 232, 8);
EXPECT_FIELD(sensor_imu_data, gyro, sensor_vector[5], 0);
EXPECT_FIELD(sensor_imu_data, acc, sensor_vector[5], 60);
EXPECT_FIELD(sensor_imu_data, temp, float[5], 120);
EXPECT_FIELD(sensor_imu_data, nb_samples, std::uint8_t, 145);
EXPECT_FIELD(sensor_imu_data, timestamp, timespec[5], 152);

EXPECT_RECORD(sensor_baro_data, 32, 4);
EXPECT_FIELD(sensor_baro_data, pressure, float, 0);
EXPECT_FIELD(sensor_baro_data, temperature, float, 4);
EXPECT_FIELD(sensor_baro_data, flags, std::int32_t, 8);

EXPECT_RECORD(sensor_magneto_data, 32, 4);
EXPECT_FIELD(sensor_magneto_data, x, float, 0);
EXPECT_FIELD(sensor_magneto_data, y, float, 4);
EXPECT_FIELD(sensor_magneto_data, z, float, 8);
EXPECT_FIELD(sensor_magneto_data, temperature, float, 12);

EXPECT_RECORD(sensor_motor_speed, 4, 2);
EXPECT_FIELD(sensor_motor_speed, rpm, std::uint16_t, 0);
EXPECT_FIELD(sensor_motor_speed, pwm, std::uint8_t, 2);

EXPECT_RECORD(sensor_motors_data, 96, 4);
EXPECT_FIELD(sensor_motors_data, braking, std::int32_t, 0);
EXPECT_FIELD(sensor_motors_data, ramping, std::int32_t, 4);
EXPECT_FIELD(sensor_motors_data, spinning, std::int32_t, 8);
EXPECT_FIELD(sensor_motors_data, nominal, std::int32_t, 12);
EXPECT_FIELD(sensor_motors_data, idle, std::int32_t, 16);
EXPECT_FIELD(sensor_motors_data, speeds, sensor_motor_speed[4], 20);
EXPECT_FIELD(sensor_motors_data, status, std::int32_t[4], 52);
EXPECT_FIELD(sensor_motors_data, vbat, float, 88);

EXPECT_RECORD(sensor_us_data, 40, 4);
EXPECT_FIELD(sensor_us_data, altitude, float, 0);
EXPECT_FIELD(sensor_us_data, altitude_v2, float, 4);
EXPECT_FIELD(sensor_us_data, measure_index, std::int32_t, 12);
EXPECT_FIELD(sensor_us_data, range_mode, std::int32_t, 16);

EXPECT_RECORD(sensor_gps_data, 768, 8);
EXPECT_FIELD(sensor_gps_data, location.latitude, double, 8);
EXPECT_FIELD(sensor_gps_data, location.longitude, double, 16);
EXPECT_FIELD(sensor_gps_data, location.amsl_altitude, double, 24);
EXPECT_FIELD(sensor_gps_data, location.timestamp, std::uint64_t, 56);
EXPECT_FIELD(sensor_gps_data, extra_common.sv_used_cnt, std::int32_t, 604);
EXPECT_FIELD(sensor_gps_data, extra_eride.lat_err, float, 616);
EXPECT_FIELD(sensor_gps_data, extra_eride.lon_err, float, 620);
EXPECT_FIELD(sensor_gps_data, extra_eride.alt_err, float, 624);
EXPECT_FIELD(sensor_gps_data, extra_eride.east_vel, float, 628);
EXPECT_FIELD(sensor_gps_data, extra_eride.north_vel, float, 632);
EXPECT_FIELD(sensor_gps_data, extra_eride.up_vel, float, 636);
EXPECT_FIELD(sensor_gps_data, extra_eride.vel_sigma, float, 640);
EXPECT_FIELD(sensor_gps_data, flags, std::int32_t, 748);

EXPECT_RECORD(sensor_battery_data, 128, 4);
EXPECT_FIELD(sensor_battery_data, voltage, float, 12);
EXPECT_FIELD(sensor_battery_data, current, float, 16);
EXPECT_FIELD(sensor_battery_data, capacity, std::uint32_t, 20);
EXPECT_FIELD(sensor_battery_data, full_charge_cap, float, 24);
EXPECT_FIELD(sensor_battery_data, remaining_cap, float, 28);
EXPECT_FIELD(sensor_battery_data, time_to_empty, std::int32_t, 32);
EXPECT_FIELD(sensor_battery_data, cycle_count, std::uint32_t, 52);

EXPECT_RECORD(sensor_tof_data, 120, 4);
EXPECT_FIELD(sensor_tof_data, distance, float, 0);
EXPECT_FIELD(sensor_tof_data, magnitude, float, 4);
EXPECT_FIELD(sensor_tof_data, temperature, float, 8);
EXPECT_FIELD(sensor_tof_data, ambient, float, 12);
EXPECT_FIELD(sensor_tof_data, invalid_flags, std::int32_t, 16);
EXPECT_FIELD(sensor_tof_data, qualification, std::int32_t, 20);
EXPECT_FIELD(sensor_tof_data, flags, std::int32_t, 24);

EXPECT_RECORD(sensor_carpet_detection_data, 48, 8);
EXPECT_FIELD(sensor_carpet_detection_data, x, float, 0);
EXPECT_FIELD(sensor_carpet_detection_data, y, float, 4);
EXPECT_FIELD(sensor_carpet_detection_data, z, float, 8);
EXPECT_FIELD(sensor_carpet_detection_data, orientation, float, 12);
EXPECT_FIELD(sensor_carpet_detection_data, nb_targets, std::int32_t, 16);
EXPECT_FIELD(sensor_carpet_detection_data, ts, timespec, 24);
EXPECT_FIELD(sensor_carpet_detection_data, active, bool, 40);

EXPECT_RECORD(sensor_vision_position_data, 48, 8);
EXPECT_FIELD(sensor_vision_position_data, position, sensor_vector, 0);
EXPECT_FIELD(sensor_vision_position_data, discriminable_ft_ratio, float, 12);
EXPECT_FIELD(sensor_vision_position_data, status, std::uint32_t, 16);
EXPECT_FIELD(sensor_vision_position_data, last_ref_image_ts, std::uint64_t, 24);
EXPECT_FIELD(sensor_vision_position_data, ts, timespec, 32);

EXPECT_RECORD(sensor_optical_flow_data, 56, 8);
EXPECT_FIELD(sensor_optical_flow_data, optical_flow, sensor_vector, 0);
EXPECT_FIELD(sensor_optical_flow_data, estimated_camera_offset, sensor_vector, 12);
EXPECT_FIELD(sensor_optical_flow_data, quality_indicator, float, 24);
EXPECT_FIELD(sensor_optical_flow_data, nb_valid_zones, std::uint32_t, 28);
EXPECT_FIELD(sensor_optical_flow_data, defined, std::uint8_t, 32);
EXPECT_FIELD(sensor_optical_flow_data, ts, timespec, 40);

EXPECT_RECORD(sensors_data, 1888, 8);
EXPECT_FIELD(sensors_data, imu, sensor_imu_data, 0);
EXPECT_FIELD(sensors_data, baro, sensor_baro_data, 232);
EXPECT_FIELD(sensors_data, magneto, sensor_magneto_data, 264);
EXPECT_FIELD(sensors_data, motors, sensor_motors_data, 296);
EXPECT_FIELD(sensors_data, us, sensor_us_data, 392);
EXPECT_FIELD(sensors_data, gps, sensor_gps_data, 432);
EXPECT_FIELD(sensors_data, battery, sensor_battery_data, 1200);
EXPECT_FIELD(sensors_data, tof_vertical, sensor_tof_data, 1328);
EXPECT_FIELD(sensors_data, carpet_detection, sensor_carpet_detection_data, 1448);
EXPECT_FIELD(sensors_data, vcam_position, sensor_vision_position_data, 1496);
EXPECT_FIELD(sensors_data, fstcam_position, sensor_vision_position_data, 1544);
EXPECT_FIELD(sensors_data, vcam_optical_flow, sensor_optical_flow_data, 1592);
EXPECT_FIELD(sensors_data, unused1, std::uint8_t[232], 1648);
EXPECT_FIELD(sensors_data, flags, std::uint32_t, 1880);

#undef EXPECT_RECORD
#undef EXPECT_FIELD

namespace {

/// The name of an array member's element, such as "gyro[4]".
std::string element(const char* member, std::size_t index) {
  return std::string(member) + "[" + std::to_string(index) + "]";
}

void introspectBaro(Registrator& registrator, sensor_baro_data& record, const std::string& name) {
  registrator.add(join(name, "flags"), record.flags);
  registrator.add(join(name, "temperature"), record.temperature);
  registrator.add(join(name, "pressure"), record.pressure);
}

void introspectMagneto(Registrator& registrator, sensor_magneto_data& record, const std::string& name) {
  registrator.add(join(name, "x"), record.x);
  registrator.add(join(name, "y"), record.y);
  registrator.add(join(name, "z"), record.z);
  registrator.add(join(name, "temperature"), record.temperature);
}

void introspectUs(Registrator& registrator, sensor_us_data& record, const std::string& name) {
  registrator.add(join(name, "altitude"), record.altitude);
  registrator.add(join(name, "altitude_v2"), record.altitude_v2);
  registrator.add(join(name, "measure_index"), record.measure_index);
  registrator.add(join(name, "range_mode"), record.range_mode);
}

void introspectCarpet(Registrator& registrator, sensor_carpet_detection_data& record,
                      const std::string& name) {
  registrator.add(join(name, "x"), record.x);
  registrator.add(join(name, "y"), record.y);
  registrator.add(join(name, "z"), record.z);
  registrator.add(join(name, "orientation"), record.orientation);
  registrator.add(join(name, "nb_targets"), record.nb_targets);
  introspect(registrator, record.ts, join(name, "ts"));
  registrator.add(join(name, "active"), record.active);
}

void introspectOpticalFlow(Registrator& registrator, sensor_optical_flow_data& record,
                           const std::string& name) {
  introspect(registrator, record.optical_flow, join(name, "optical_flow"));
  introspect(registrator, record.estimated_camera_offset, join(name, "estimated_camera_offset"));
  registrator.add(join(name, "quality_indicator"), record.quality_indicator);
  registrator.add(join(name, "nb_valid_zones"), record.nb_valid_zones);
  registrator.add(join(name, "defined"), record.defined);
  introspect(registrator, record.ts, join(name, "ts"));
}

}  // namespace

template <>
void introspect<sensor_vector, Registrator>(Registrator& registrator, sensor_vector& record,
                                            const std::string& name) {
  registrator.add(join(name, "x"), record.x);
  registrator.add(join(name, "y"), record.y);
  registrator.add(join(name, "z"), record.z);
}

template <>
void introspect<timespec, Registrator>(Registrator& registrator, timespec& record,
                                       const std::string& name) {
  registrator.add(join(name, "tv_sec"), record.tv_sec);
  registrator.add(join(name, "tv_nsec"), record.tv_nsec);
}

template <>
void introspect<sensor_imu_data, Registrator>(Registrator& registrator, sensor_imu_data& record,
                                              const std::string& name) {
  registrator.add(join(name, "nb_samples"), record.nb_samples);
  for (std::size_t i = 0; i < std::size(record.gyro); ++i) {
    registrator.add(join(name, element("temp", i)), record.temp[i]);
    introspect(registrator, record.gyro[i], join(name, element("gyro", i)));
    introspect(registrator, record.acc[i], join(name, element("acc", i)));
    introspect(registrator, record.timestamp[i], join(name, element("timestamp", i)));
  }
}

template <>
void introspect<sensor_motors_data, Registrator>(Registrator& registrator, sensor_motors_data& record,
                                                 const std::string& name) {
  registrator.add(join(name, "braking"), record.braking);
  registrator.add(join(name, "ramping"), record.ramping);
  registrator.add(join(name, "spinning"), record.spinning);
  registrator.add(join(name, "nominal"), record.nominal);
  registrator.add(join(name, "idle"), record.idle);
  for (std::size_t i = 0; i < std::size(record.speeds); ++i) {
    registrator.add(join(name, join(element("speeds", i), "rpm")), record.speeds[i].rpm);
  }
  for (std::size_t i = 0; i < std::size(record.speeds); ++i) {
    registrator.add(join(name, join(element("speeds", i), "pwm")), record.speeds[i].pwm);
  }
  for (std::size_t i = 0; i < std::size(record.status); ++i) {
    registrator.add(join(name, element("status", i)), record.status[i]);
  }
  registrator.add(join(name, "vbat"), record.vbat);
}

template <>
void introspect<sensor_gps_data, Registrator>(Registrator& registrator, sensor_gps_data& record,
                                              const std::string& name) {
  registrator.add(join(name, "flags"), record.flags);

  const std::string location = join(name, "location");
  registrator.add(join(location, "latitude"), record.location.latitude);
  registrator.add(join(location, "longitude"), record.location.longitude);
  registrator.add(join(location, "amsl_altitude"), record.location.amsl_altitude);
  registrator.add(join(location, "timestamp"), record.location.timestamp);

  const std::string eride = join(name, "extra_eride");
  registrator.add(join(eride, "lat_err"), record.extra_eride.lat_err);
  registrator.add(join(eride, "lon_err"), record.extra_eride.lon_err);
  registrator.add(join(eride, "alt_err"), record.extra_eride.alt_err);
  registrator.add(join(eride, "east_vel"), record.extra_eride.east_vel);
  registrator.add(join(eride, "north_vel"), record.extra_eride.north_vel);
  registrator.add(join(eride, "up_vel"), record.extra_eride.up_vel);
  registrator.add(join(eride, "vel_sigma"), record.extra_eride.vel_sigma);

  registrator.add(join(name, "extra_common.sv_used_cnt"), record.extra_common.sv_used_cnt);
}

template <>
void introspect<sensor_battery_data, Registrator>(Registrator& registrator, sensor_battery_data& record,
                                                  const std::string& name) {
  registrator.add(join(name, "voltage"), record.voltage);
  registrator.add(join(name, "current"), record.current);
  registrator.add(join(name, "capacity"), record.capacity);
  registrator.add(join(name, "full_charge_cap"), record.full_charge_cap);
  registrator.add(join(name, "remaining_cap"), record.remaining_cap);
  registrator.add(join(name, "time_to_empty"), record.time_to_empty);
  registrator.add(join(name, "cycle_count"), record.cycle_count);
}

template <>
void introspect<sensor_tof_data, Registrator>(Registrator& registrator, sensor_tof_data& record,
                                              const std::string& name) {
  registrator.add(join(name, "distance"), record.distance);
  registrator.add(join(name, "magnitude"), record.magnitude);
  registrator.add(join(name, "temperature"), record.temperature);
  registrator.add(join(name, "ambient"), record.ambient);
  registrator.add(join(name, "flags"), record.flags);
  registrator.add(join(name, "invalid_flags"), record.invalid_flags);
  registrator.add(join(name, "qualification"), record.qualification);
}

template <>
void introspect<sensor_vision_position_data, Registrator>(Registrator& registrator,
                                                          sensor_vision_position_data& record,
                                                          const std::string& name) {
  introspect(registrator, record.position, join(name, "position"));
  registrator.add(join(name, "discriminable_ft_ratio"), record.discriminable_ft_ratio);
  registrator.add(join(name, "status"), record.status);
  registrator.add(join(name, "last_ref_image_ts"), record.last_ref_image_ts);
  introspect(registrator, record.ts, join(name, "ts"));
}

template <>
void introspect<sensors_data, Registrator>(Registrator& registrator, sensors_data& record,
                                           const std::string& name) {
  introspect(registrator, record.gps, join(name, "gps"));
  introspectUs(registrator, record.us, join(name, "us"));
  introspect(registrator, record.tof_vertical, join(name, "tof_vertical"));
  introspectBaro(registrator, record.baro, join(name, "baro"));
  introspectMagneto(registrator, record.magneto, join(name, "magneto"));
  introspect(registrator, record.battery, join(name, "battery"));
  introspect(registrator, record.motors, join(name, "motors"));
  introspectCarpet(registrator, record.carpet_detection, join(name, "carpet_detection"));
  introspect(registrator, record.vcam_position, join(name, "vcam_position"));
  introspect(registrator, record.fstcam_position, join(name, "fstcam_position"));
  introspectOpticalFlow(registrator, record.vcam_optical_flow, join(name, "vcam_optical_flow"));
  registrator.add(join(name, "flags"), record.flags);
  introspect(registrator, record.imu, join(name, "imu"));
}
