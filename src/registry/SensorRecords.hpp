#pragma once

#include <cstdint>
#include <ctime>

/// The sensor inputs of one control step.
///
/// The flight-control library, built separately, takes the memory image of `sensors_data` as it stands: the
/// offset, width and encoding of every field, and of every stretch of bytes that no field covers, are
/// fixed. Values are little-endian. The `unused` bytes are zeroed with the record and never written. Body
/// axes are forward, right, down.

struct sensor_vector {
  float x;
  float y;
  float z;
};

struct sensor_imu_data {
  sensor_vector gyro[5];  ///< rad/s; one element per sub-sample of the step
  sensor_vector acc[5];   ///< m/s^2
  float temp[5];          ///< degrees Celsius
  std::uint8_t unused1[5];
  std::uint8_t nb_samples;  ///< sub-samples in the step; elements from there on mean nothing
  std::uint8_t unused2[6];
  timespec timestamp[5];
};

struct sensor_baro_data {
  float pressure;     ///< Pa
  float temperature;  ///< degrees Celsius
  std::int32_t flags;
  std::uint8_t unused[20];
};

struct sensor_magneto_data {
  float x;  ///< gauss, as y and z
  float y;
  float z;
  float temperature;  ///< degrees Celsius
  std::uint8_t unused[16];
};

struct sensor_motor_speed {
  std::uint16_t rpm;  ///< revolutions per minute
  std::uint8_t pwm;
  std::uint8_t unused;
};

struct sensor_motors_data {
  std::int32_t braking;  ///< bit i stands for motor i, here and in the next four
  std::int32_t ramping;
  std::int32_t spinning;
  std::int32_t nominal;
  std::int32_t idle;
  sensor_motor_speed speeds[4];
  std::uint8_t unused1[16];
  std::int32_t status[4];
  std::uint8_t unused2[20];
  float vbat;  ///< V
  std::uint8_t unused3[4];
};

struct sensor_us_data {
  float altitude;  ///< m
  float altitude_v2;
  std::uint8_t unused1[4];
  std::int32_t measure_index;
  std::int32_t range_mode;
  std::uint8_t unused2[20];
};

struct sensor_gps_location {
  double latitude;       ///< degrees
  double longitude;      ///< degrees
  double amsl_altitude;  ///< m above mean sea level
  std::uint8_t unused[24];
  std::uint64_t timestamp;  ///< ms UTC
};

struct sensor_gps_extra_common {
  std::int32_t sv_used_cnt;  ///< satellites used
  std::uint8_t unused[8];
};

struct sensor_gps_extra_eride {
  float lat_err;  ///< m, as the next two
  float lon_err;
  float alt_err;
  float east_vel;  ///< m/s, as the next three
  float north_vel;
  float up_vel;
  float vel_sigma;
};

struct sensor_gps_data {
  std::uint8_t unused1[8];
  sensor_gps_location location;
  std::uint8_t unused2[540];
  sensor_gps_extra_common extra_common;
  sensor_gps_extra_eride extra_eride;
  std::uint8_t unused3[104];
  std::int32_t flags;
  std::uint8_t unused4[16];
};

struct sensor_battery_data {
  std::uint8_t unused1[12];
  float voltage;  ///< V
  float current;  ///< A
  std::uint32_t capacity;
  float full_charge_cap;
  float remaining_cap;
  std::int32_t time_to_empty;
  std::uint8_t unused2[16];
  std::uint32_t cycle_count;
  std::uint8_t unused3[72];
};

struct sensor_tof_data {
  float distance;  ///< m
  float magnitude;
  float temperature;  ///< degrees Celsius
  float ambient;
  std::int32_t invalid_flags;
  std::int32_t qualification;
  std::int32_t flags;
  std::uint8_t unused[92];
};

struct sensor_carpet_detection_data {
  float x;
  float y;
  float z;
  float orientation;
  std::int32_t nb_targets;
  std::uint8_t unused1[4];
  timespec ts;
  bool active;
  std::uint8_t unused2[7];
};

struct sensor_vision_position_data {
  sensor_vector position;
  float discriminable_ft_ratio;
  std::uint32_t status;
  std::uint8_t unused[4];
  std::uint64_t last_ref_image_ts;
  timespec ts;
};

struct sensor_optical_flow_data {
  sensor_vector optical_flow;
  sensor_vector estimated_camera_offset;
  float quality_indicator;
  std::uint32_t nb_valid_zones;
  std::uint8_t defined;
  std::uint8_t unused[7];
  timespec ts;
};

struct sensors_data {
  sensor_imu_data imu;
  sensor_baro_data baro;
  sensor_magneto_data magneto;
  sensor_motors_data motors;
  sensor_us_data us;
  sensor_gps_data gps;
  sensor_battery_data battery;
  sensor_tof_data tof_vertical;
  sensor_carpet_detection_data carpet_detection;
  sensor_vision_position_data vcam_position;
  sensor_vision_position_data fstcam_position;
  sensor_optical_flow_data vcam_optical_flow;
  std::uint8_t unused1[232];
  std::uint32_t flags;  ///< what is new in the step
  std::uint8_t unused2[4];
};
