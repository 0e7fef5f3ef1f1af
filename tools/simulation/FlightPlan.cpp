#include "simulation/FlightPlan.hpp"

#include <algorithm>
#include <string>
#include <utility>

#include "ostrel/follow_me.hpp"

namespace simulation {

namespace {

// Above the reach of both range sensors, so that a flight of some length also has samples without an echo.
constexpr double HIGHEST_ALTITUDE = 8.0;             // m
constexpr double FOLLOW_DISTANCE = 6.0;              // m
constexpr double QUARTER_TURN = 1.5707963267948966;  // rad
constexpr double FASTEST_TURN = 3.0;                 // rad/s
constexpr double FASTEST_LEG = 4.0;                  // m/s
// A longer flight goes round the same square more slowly. This keeps it near the origin, where the lengths
// of a degree are right.
constexpr double LONGEST_LEG = 400.0;  // m

/// Collects calls at a time that only moves forward.
class Schedule {
 public:
  Schedule(int stepCount, int stepRate) : steps(stepCount), rate(stepRate) {}

  void wait(double seconds) { now += seconds; }

  /// Adds a call at the step nearest to the present time, none later than the last.
  void call(std::string api, std::vector<CallArgument> arguments = {}) {
    // Rounding can lead to the step behind the last sample, which only the last call of all may have.
    const auto step = static_cast<int>(std::min(now * rate + 0.5, steps - 1.0));
    calls.push_back({step, std::move(api), std::move(arguments)});
  }

  /// Flies ahead and turns; with `forward` 0, turns on the spot.
  void setVelocity(double forward, double yawRate) {
    call("set_velocity", {{"vx", forward}, {"vy", 0.0}, {"vz", 0.0}, {"yaw_rate", yawRate}});
  }

  /// Sets the home position, which is `metresOff` from the true one on each axis.
  void setHome(double metresOff) {
    call("set_home",
         {{"amsl_altitude", FlightOrigin::AMSL_ALTITUDE + metresOff},
          {"latitude", FlightOrigin::LATITUDE + metresOff / FlightOrigin::METRES_PER_DEGREE_LATITUDE},
          {"longitude", FlightOrigin::LONGITUDE + metresOff / FlightOrigin::METRES_PER_DEGREE_LONGITUDE}});
  }

  void setFollowMe(double distance, FOLLOW_ME_TRAJECTORY_TYPE trajectory) {
    call("set_follow_me", {{"distance", distance}, {"trajectory", static_cast<double>(trajectory)}});
  }

  std::vector<ApiCall> calls;

 private:
  int steps;
  int rate;
  double now = 0.0;  // s
};

}  // namespace

std::vector<ApiCall> planFlight(int steps, int rate) {
  // Shares of the duration, with a limit in seconds for long flights. The square gets at least 54 %.
  const double duration = static_cast<double>(steps) / rate;
  const double warmUp = std::min(0.06 * duration, 10.0);
  const double climb = std::min(0.16 * duration, 10.0);
  const double landing = std::min(0.24 * duration, 30.0);
  // A short flight stays low enough to land in time. A vehicle that speeds up and slows down covers a
  // distance that grows with the square of the time.
  const double altitude = std::min(HIGHEST_ALTITUDE, 0.14 * landing * landing);
  const double side = (duration - warmUp - climb - landing) / 4.0;
  // Each side is a straight leg followed by a turn on the spot.
  const double hold = 0.35 * side;
  const double leg = side - hold;
  // Legs of up to 100 s are flown at full speed. A hold makes a quarter turn, if it lasts long enough.
  const double speed = std::min(FASTEST_LEG, LONGEST_LEG / leg);
  const double yawRate = std::min(FASTEST_TURN, QUARTER_TURN / hold);

  Schedule schedule(steps, rate);
  // The home position becomes more accurate in flight: it is 2.5 m off at first, then 0.8 m, and exact at
  // the end.
  schedule.setHome(2.5);
  schedule.wait(0.5 * warmUp);
  schedule.call("set_motors_armed", {{"armed", 1.0}});
  schedule.wait(0.5 * warmUp);
  schedule.call("take_off", {{"altitude", altitude}});
  schedule.wait(climb);
  for (int corner = 1; corner <= 4; ++corner) {
    schedule.setVelocity(speed, 0.0);
    schedule.wait(leg);
    schedule.setVelocity(0.0, yawRate);
    // These calls do not move the vehicle. They give the log more than flight commands.
    if (corner == 2) schedule.setFollowMe(FOLLOW_DISTANCE, FOLLOW_ME_TRAJECTORY_ORBIT);
    if (corner == 3) schedule.setHome(0.8);
    schedule.wait(hold);
    if (corner == 2) schedule.setFollowMe(0.0, FOLLOW_ME_TRAJECTORY_NONE);
  }
  schedule.setVelocity(0.0, 0.0);
  schedule.call("land");
  // The altitude leaves time to touch down well before the motors stop.
  schedule.wait(0.9 * landing);
  schedule.call("set_motors_armed", {{"armed", 0.0}});

  // Its step is one beyond the last sample; the declaration says why.
  schedule.setHome(0.0);
  schedule.calls.back().step = steps;
  return std::move(schedule.calls);
}

}  // namespace simulation
