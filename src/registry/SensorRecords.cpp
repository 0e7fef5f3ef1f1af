#include "registry/SensorRecords.hpp"

#include <cstddef>
#include <type_traits>

#include "registry/Introspect.hpp"

using Ostrel::Utils::join;

// The flight-control library copies the record as raw bytes, so every offset is an interface. A record is
// known by its size and by the first field behind each of its holes.
static_assert(sizeof(sensor_vector) == 12 && sizeof(timespec) == 16);
static_assert(sizeof(sensor_imu_data) == 232 && offsetof(sensor_imu_data, nb_samples) == 145 &&
              offsetof(sensor_imu_data, timestamp) == 152);
static_assert(sizeof(sensor_baro_data) == 32 && sizeof(sensor_magneto_data) == 32);
static_assert(sizeof(sensor_motor_speed) == 4);
static_assert(sizeof(sensor_motors_data) == 96 && offsetof(sensor_motors_data, status) == 52 &&
              offsetof(sensor_motors_data, vbat) == 88);
static_assert(sizeof(sensor_us_data) == 40 && offsetof(sensor_us_data, measure_index) == 12);
static_assert(sizeof(sensor_gps_data) == 768 && offsetof(sensor_gps_data, location.latitude) == 8 &&
              offsetof(sensor_gps_data, location.timestamp) == 56 &&
              offsetof(sensor_gps_data, extra_common) == 604 &&
              offsetof(sensor_gps_data, extra_eride) == 616 && offsetof(sensor_gps_data, flags) == 748);
static_assert(sizeof(sensor_battery_data) == 128 && offsetof(sensor_battery_data, voltage) == 12 &&
              offsetof(sensor_battery_data, cycle_count) == 52);
static_assert(sizeof(sensor_tof_data) == 120);
static_assert(sizeof(sensor_carpet_detection_data) == 48 &&
              offsetof(sensor_carpet_detection_data, ts) == 24);
static_assert(sizeof(sensor_vision_position_data) == 48 &&
              offsetof(sensor_vision_position_data, last_ref_image_ts) == 24);
static_assert(sizeof(sensor_optical_flow_data) == 56 && offsetof(sensor_optical_flow_data, ts) == 40);
static_assert(sizeof(sensors_data) == 1888 && alignof(sensors_data) == 8 &&
              offsetof(sensors_data, flags) == 1880);
static_assert(std::is_trivially_copyable_v<sensors_data> && std::is_standard_layout_v<sensors_data>);

namespace {

/// The name of an array member's element, such as "gyro[4]".
std::string element(const char* member, std::size_t index) {
  return std::string(member) + "[" + std::to_string(index) + "]";
}

// The names below are column names in recorded logs: a changed name would no longer match older logs.
// Fields that are not registered are never recorded and keep their value through a replay.
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
  // All places are registered, also those behind `nb_samples`, so that every log has the same columns.
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
