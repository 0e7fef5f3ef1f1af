#pragma once

#include <cstddef>
#include <cstdint>

namespace Dravon3 {

/// Size of the sensor record's memory image, in bytes.
constexpr std::size_t SENSOR_BYTES = 1888;

/// Where the vehicle is in its flight, as the API calls and the range sensors tell.
enum flight_state : std::int32_t {
  FLIGHT_STATE_LANDED = 0,
  FLIGHT_STATE_TAKING_OFF = 1,
  FLIGHT_STATE_FLYING = 2,
  FLIGHT_STATE_LANDING = 3,
  FLIGHT_STATE_EMERGENCY = 4,
};

/// What the library makes of the sensors and calls. Plain numbers: the record is compared and logged as it
/// stands. Heights are in metres above the take-off point, up positive.
struct estimator_outputs {
  std::int32_t step_count;         ///< steps run since OSTREL_new()
  std::int32_t call_count;         ///< API calls received since OSTREL_new()
  std::int32_t state;              ///< a flight_state
  std::int32_t armed;              ///< 1 while the motors are armed
  std::int32_t follow_trajectory;  ///< a FOLLOW_ME_TRAJECTORY_TYPE
  float follow_distance;           ///< metres; 0 when not following
  float attitude[4];               ///< unit quaternion w, x, y, z: from body axes to the horizontal frame
  float vertical_position;         ///< metres
  float vertical_speed;            ///< metres per second
  float take_off_altitude;         ///< metres, as asked by the last take_off()
  float velocity_setpoint[3];      ///< metres per second, as asked by the last set_velocity()
  float yaw_rate_setpoint;         ///< radians per second
  float reserved;                  ///< 0
  double home[3];  ///< altitude (metres above mean sea level), latitude, longitude (degrees)
};

/// The data-manager record: the sensor inputs of the step first, then the outputs.
struct data_manager_record {
  alignas(8) std::byte sensors[SENSOR_BYTES];  ///< the image of a `sensors_data`, written by the caller
  estimator_outputs outputs;
};

static_assert(offsetof(data_manager_record, sensors) == 0 &&
              offsetof(data_manager_record, outputs) == SENSOR_BYTES);

/// The one data-manager record; it lives as long as the process. The caller writes `sensors` before each
/// OSTREL_process() and reads `outputs` after it.
data_manager_record* data_manager();

}  // namespace Dravon3
