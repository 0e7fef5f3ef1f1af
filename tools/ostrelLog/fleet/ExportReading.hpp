#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "ostrelLog/Selection.hpp"

namespace logtool {

/// What a replay's export holds of the values to be compared.
struct ExportReading {
  bool comparable() const { return fault.empty() && steps > 0 && variables > 0; }

  std::string fault;          ///< why there is no whole export; empty when there is one
  std::uint64_t records = 0;  ///< all samples, whatever was selected
  std::uint64_t steps = 0;    ///< in the section that has most
  std::size_t variables = 0;  ///< selected ones
  std::string digest;  ///< of the indices and the selected values of all steps; the same for the same bits
  std::set<std::string> names;  ///< of all variables, selected or not
};

/// Reads an export to its end, in memory that does not grow with it. With `section`, only that section
/// counts.
ExportReading readExport(const std::string& path, const Selection& selection,
                         const std::optional<std::string>& section);

}  // namespace logtool
