#pragma once

#include <algorithm>
#include <cstdint>
#include <random>

#include "simulation/Vector3.hpp"

namespace simulation {

/// The source of all chance in a simulated flight.
///
/// One seed gives the same sequence on every machine. The language fixes the generator but not its
/// distributions, so the values are shaped here, with arithmetic that every machine rounds alike.
class Noise {
 public:
  explicit Noise(std::uint64_t seed) : generator(seed) {}

  /// A bell-shaped value with mean 0 and standard deviation `sigma`, within 3.5 sigma: the sum of four
  /// uniform values, the quarters of one draw.
  double bell(double sigma) {
    constexpr std::uint64_t quarter = 0xFFFF;
    constexpr double mean = 2.0 * 65535.0;
    constexpr double deviation = 37837.0;  // of the sum: 65536 / sqrt(3)
    const std::uint64_t bits = generator();
    const std::uint64_t sum =
        (bits & quarter) + (bits >> 16U & quarter) + (bits >> 32U & quarter) + (bits >> 48U);
    return (static_cast<double>(sum) - mean) * (sigma / deviation);
  }

  /// True once in `many` draws on average.
  bool oneIn(std::uint64_t many) { return generator() % many == 0; }

  /// `value` with a bell-shaped error in each coordinate.
  Vector3 around(const Vector3& value, double sigma) {
    // In statements of their own: the compiler chooses the order in which a call's arguments are evaluated.
    const double x = value.x + bell(sigma);
    const double y = value.y + bell(sigma);
    const double z = value.z + bell(sigma);
    return {x, y, z};
  }

  /// Lets `value` wander by one bell-shaped step, without leaving [low, high].
  void wander(double& value, double sigma, double low, double high) {
    value = std::clamp(value + bell(sigma), low, high);
  }

  /// Lets each coordinate wander by itself, no further from 0 than `limit`.
  void wander(Vector3& value, double sigma, double limit) {
    wander(value.x, sigma, -limit, limit);
    wander(value.y, sigma, -limit, limit);
    wander(value.z, sigma, -limit, limit);
  }

 private:
  std::mt19937_64 generator;
};

}  // namespace simulation
