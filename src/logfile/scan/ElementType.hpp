#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "logfile/scan/LogSource.hpp"
#include "telemetry/var_desc.hpp"

/// How the elements of a log's variable are read, compared and shown.
///
/// A long double holds every value of every type exactly (64 bits of mantissa), so that values of different
/// types can be compared as the numbers that they are.
struct ElementType {
  /// Reads the value of an element; no alignment is needed.
  using Read = long double (*)(const unsigned char* bytes);

  tlm_var_type type;
  const char* name;
  std::size_t bytes;
  Read read;
  /// Reads a double that a legacy log holds, as a replay stores it in a variable of this type.
  Read readRecorded;
  /// The shortest text that gives the same value when it is read back.
  std::string (*print)(long double value);
};

// Otherwise a long double could not hold every 64-bit integer exactly.
static_assert(sizeof(long double) > sizeof(double));

/// The type of this number; null when there is none.
const ElementType* elementType(tlm_var_type type);

/// The type of a variable's elements; null for one that no type says how to read, by its number or by the
/// size of its elements.
const ElementType* elementType(const LogVariable& variable);

/// The name of a variable's type with the number of its elements, such as "float" or "uint8[16]".
std::string typeName(const LogVariable& variable);
