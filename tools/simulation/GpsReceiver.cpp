#include "simulation/GpsReceiver.hpp"

#include "simulation/FlightPlan.hpp"

namespace simulation {

namespace {

constexpr double LARGEST_ERROR = 1.5;  // m, of the position along each axis

// Kinds of a fix. The receiver gets corrections when it has a good view of the sky, that is, when it sees
// many satellites.
constexpr int FIX_3D = 3;
constexpr int FIX_3D_CORRECTED = 4;
constexpr int SATELLITES_FOR_CORRECTIONS = 13;

}  // namespace

void GpsReceiver::switchOn(Noise& noise) {
  // The first error is drawn from a wide range, so that seeds give different positions from the first fix.
  noise.wander(positionError, 0.4, LARGEST_ERROR);
}

void GpsReceiver::fix(const VehicleMotion& motion, std::uint64_t timestamp, Noise& noise,
                      sensor_gps_data& gps) {
  // 3 cm from fix to fix: fixes agree with their neighbours far better than with the true position.
  noise.wander(positionError, 0.03, LARGEST_ERROR);
  const Vector3 position = motion.position + positionError;
  gps.location.latitude = FlightOrigin::LATITUDE + position.x / FlightOrigin::METRES_PER_DEGREE_LATITUDE;
  gps.location.longitude = FlightOrigin::LONGITUDE + position.y / FlightOrigin::METRES_PER_DEGREE_LONGITUDE;
  gps.location.amsl_altitude = FlightOrigin::AMSL_ALTITUDE - position.z;
  gps.location.timestamp = timestamp;

  // What the receiver believes of its errors wanders apart from the true ones, as in a real receiver. The
  // vertical one is larger, since all satellites are above the receiver. All in m, the last one in m/s.
  noise.wander(horizontalError, 0.01, 0.4, 1.2);
  noise.wander(verticalError, 0.01, 0.7, 2.0);
  noise.wander(velocityError, 0.005, 0.1, 0.4);
  gps.extra_eride.lat_err = static_cast<float>(horizontalError);
  gps.extra_eride.lon_err = static_cast<float>(horizontalError * 0.9);
  gps.extra_eride.alt_err = static_cast<float>(verticalError);
  const Vector3 velocity = noise.around(motion.velocity, 0.05);
  gps.extra_eride.north_vel = static_cast<float>(velocity.x);
  gps.extra_eride.east_vel = static_cast<float>(velocity.y);
  // The simulation counts downwards, the receiver upwards.
  gps.extra_eride.up_vel = -static_cast<float>(velocity.z);
  gps.extra_eride.vel_sigma = static_cast<float>(velocityError);

  noise.wander(satellites, 0.4, 9.0, 17.0);
  gps.extra_common.sv_used_cnt = static_cast<int>(satellites);
  gps.flags = gps.extra_common.sv_used_cnt >= SATELLITES_FOR_CORRECTIONS ? FIX_3D_CORRECTED : FIX_3D;
}

}  // namespace simulation
