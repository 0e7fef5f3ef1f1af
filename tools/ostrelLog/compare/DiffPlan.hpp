#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "logfile/scan/ElementType.hpp"
#include "logfile/scan/LogSource.hpp"
#include "ostrelLog/Selection.hpp"
#include "ostrelLog/compare/LogPair.hpp"

namespace logtool {

/// Where a compared variable lies in the records of one log, and how it is read there.
struct Place {
  std::size_t offset;  ///< from the start of the record, in bytes
  std::size_t stride;  ///< bytes of an element
  ElementType::Read read;
  const ElementType* shown;  ///< the type whose values `read` gives

  long double value(const unsigned char* record, std::size_t element) const {
    return read(record + offset + element * stride);
  }
};

/// A variable that the records of both logs have.
struct SharedVariable {
  std::string name;
  std::size_t elements;
  LogPair<Place> places;
};

/// How the records of one layout are compared with those of another one.
struct DiffPlan {
  std::vector<SharedVariable> shared;       ///< in the order of A's records
  LogPair<std::vector<std::string>> alone;  ///< names that only one of the layouts has
};

/// The name of one element of an array, as users see it and as `--only` takes it.
std::string elementName(const std::string& variable, std::size_t element);

/// Whether the selection takes anything of the records of this layout, in a log of this kind.
bool selectsFrom(LogKind kind, const RecordLayout& layout, const Selection& selection);

/// Pairs the selected variables that have the same name and the same number of elements in both layouts;
/// each layout belongs to a log of the given kind. The arguments of calls are named API.ARGUMENT. Of a
/// variable that is not selected itself, each selected element counts as a variable NAME[INDEX] of its own.
///
/// When exactly one of the logs is a blackbox log, the doubles of the other one are read as a replay stores
/// them in a variable of the blackbox log's type. Elements of an unknown type are compared byte by byte.
DiffPlan makeDiffPlan(const LogPair<LogKind>& kinds, const LogPair<const RecordLayout*>& layouts,
                      const Selection& selection);

}  // namespace logtool
