#pragma once

#include <array>

namespace logtool {

/// One of the two logs of a comparison, in the order of the command line.
enum class Side { A, B };

constexpr std::array<Side, 2> SIDES = {Side::A, Side::B};

/// The log's name in what a person reads.
constexpr const char* nameOf(Side side) {
  return side == Side::A ? "A" : "B";
}

constexpr Side otherThan(Side side) {
  return side == Side::A ? Side::B : Side::A;
}

/// The same thing for each of the two logs of a comparison.
template <class T>
struct LogPair {
  T a;
  T b;

  T& operator[](Side side) { return side == Side::A ? a : b; }
  const T& operator[](Side side) const { return side == Side::A ? a : b; }
};

}  // namespace logtool
