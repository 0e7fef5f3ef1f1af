#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "logfile/scan/ElementType.hpp"
#include "ostrelLog/LogCursor.hpp"

// The two logs of a comparison by their place in pairs.
constexpr std::size_t A = 0;
constexpr std::size_t B = 1;

/// One of the two places where a compared variable stands.
struct Place {
  std::size_t offset;  ///< in its record
  std::size_t stride;  ///< bytes of an element
  ElementType::Read read;
  const ElementType* shown;  ///< the type that `read` gives values of

  long double value(const unsigned char* record, std::size_t element) const {
    return read(record + offset + element * stride);
  }
};

/// A variable that records of both logs have.
struct SharedVariable {
  std::string name;
  std::size_t elements;
  std::array<Place, 2> places;
};

/// How the records of one layout are compared with those of another one.
struct DiffPlan {
  std::vector<SharedVariable> shared;             ///< in the order of A's records
  std::array<std::vector<std::string>, 2> alone;  ///< names that only one of the layouts has
};

/// Brings together what has the same name and the same number of elements in both layouts, which belong
/// to logs of these kinds. Where just one of the logs is a blackbox log, the doubles of
/// the other one are read as a replay stores them. Elements that no type says how to read are compared byte
/// by byte.
DiffPlan makeDiffPlan(const std::array<LogKind, 2>& kinds,
                      const std::array<const RecordLayout*, 2>& layouts, const Selection& selection);
