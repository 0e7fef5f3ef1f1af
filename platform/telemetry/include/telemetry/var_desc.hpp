#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// The type of one telemetry variable, as blackbox logs number it.
enum tlm_var_type : std::uint32_t {
  TLM_VAR_BOOL = 0,
  TLM_VAR_UINT8 = 1,
  TLM_VAR_INT8 = 2,
  TLM_VAR_UINT16 = 3,
  TLM_VAR_INT16 = 4,
  TLM_VAR_UINT32 = 5,
  TLM_VAR_INT32 = 6,
  TLM_VAR_UINT64 = 7,
  TLM_VAR_INT64 = 8,
  TLM_VAR_FLOAT = 9,
  TLM_VAR_DOUBLE = 10,
};

namespace telemetry {

/// Describes one variable of a section. In a sample it takes elementBytes * count bytes, little-endian.
struct VarDesc {
  std::string name;     ///< full dotted name
  tlm_var_type type;    ///< of one element; a log may hold numbers that the enumeration has no name for
  std::uint64_t count;  ///< elements; 1 for a scalar
  std::size_t elementBytes;  ///< bytes of one element, which the type alone does not promise
};

}  // namespace telemetry
