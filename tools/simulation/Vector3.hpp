#pragma once

#include <cmath>

namespace simulation {

/// A vector of three coordinates. The simulation uses two frames: the ground's, with axes north, east and
/// down, and the vehicle's body, with axes forward, right and down.
struct Vector3 {
  double x = 0.0;
  double y = 0.0;
  double z = 0.0;
};

inline Vector3 operator+(const Vector3& a, const Vector3& b) {
  return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline Vector3 operator-(const Vector3& a, const Vector3& b) {
  return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline Vector3 operator*(const Vector3& a, double factor) {
  return {a.x * factor, a.y * factor, a.z * factor};
}

inline double dot(const Vector3& a, const Vector3& b) {
  return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline Vector3 cross(const Vector3& a, const Vector3& b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double length(const Vector3& a) {
  return std::sqrt(dot(a, a));
}

/// `a` scaled to length 1; it must not be the null vector.
inline Vector3 unit(const Vector3& a) {
  return a * (1.0 / length(a));
}

/// The body's axes, seen in the ground's frame: three unit vectors, each normal to the other two.
struct BodyAxes {
  Vector3 forward{1.0, 0.0, 0.0};
  Vector3 right{0.0, 1.0, 0.0};
  Vector3 down{0.0, 0.0, 1.0};

  /// The body coordinates of a vector given in the ground's frame.
  Vector3 toBody(const Vector3& ground) const {
    return {dot(forward, ground), dot(right, ground), dot(down, ground)};
  }
};

}  // namespace simulation
