#pragma once

#include <cstdint>
#include <limits>
#include <type_traits>

/// The recorded double as a signed integer, truncated toward zero. NaN and everything whose truncation the
/// integer can't hold give its most negative value, as the recording machines' own conversion does; a bare
/// cast of such a value is undefined.
template <class Integer>
Integer truncateTo(double value) {
  static_assert(std::is_same_v<Integer, std::int32_t> || std::is_same_v<Integer, std::int64_t>);
  // The limits are powers of two, so that they are exact as doubles. A value between the lower limit less
  // one and the lower limit truncates to the most negative value as well.
  constexpr double lowest = static_cast<double>(std::numeric_limits<Integer>::min());
  if (value >= lowest && value < -lowest) return static_cast<Integer>(value);
  return std::numeric_limits<Integer>::min();
}

/// The recorded double as an unsigned 64-bit integer: negative values wrap, from 2^63 on the value is kept
/// whole, and NaN and values from 2^64 on give 2^63.
inline std::uint64_t truncateToUnsigned64(double value) {
  constexpr double topBit = 9223372036854775808.0;
  if (!(value >= topBit)) return static_cast<std::uint64_t>(truncateTo<std::int64_t>(value));
  return static_cast<std::uint64_t>(truncateTo<std::int64_t>(value - topBit)) | (std::uint64_t{1} << 63U);
}

/// The recorded double as the value of a field of type T.
template <class T>
T fieldFromRecord(double value) {
  if constexpr (std::is_same_v<T, bool>) {
    return value != 0.0;  // NaN counts as true
  } else if constexpr (std::is_floating_point_v<T>) {
    static_assert(std::numeric_limits<T>::is_iec559);  // so that a double too large for a float is infinity
    return static_cast<T>(value);
  } else if constexpr (std::is_enum_v<T>) {
    return static_cast<T>(fieldFromRecord<std::underlying_type_t<T>>(value));
  } else if constexpr (std::is_same_v<T, std::uint64_t>) {
    return truncateToUnsigned64(value);
  } else if constexpr (sizeof(T) == 8 || std::is_same_v<T, std::uint32_t>) {
    return static_cast<T>(truncateTo<std::int64_t>(value));  // 64 bits wide, so that 2^32 - 1 arrives whole
  } else {
    return static_cast<T>(truncateTo<std::int32_t>(value));  // the low bits of narrower fields
  }
}
