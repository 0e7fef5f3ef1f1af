#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "logfile/scan/ElementType.hpp"
#include "logfile/scan/LogSource.hpp"
#include "ostrelLog/Selection.hpp"

namespace logtool {

/// One exported number of a record: a variable, an element of an array, or an argument of a call.
struct Column {
  std::string name;         ///< elements of an array are NAME[INDEX]; UTF-8, as all names here
  const ElementType* type;  ///< never null
  std::size_t offset;       ///< in the record's values, in bytes
};

/// What is exported of the records of one layout.
struct Table {
  const RecordLayout* layout;  ///< borrowed from the log
  std::string name;            ///< of the API, or of the section
  bool ofCalls;                ///< calls of the API that the layout names; otherwise samples
  std::vector<Column> columns;
  std::vector<std::string> unreadable;  ///< selected variables whose type says nothing about their values
};

/// The selected columns of a layout, in the order of the record. The index of samples is none of them, as
/// every record has it anyway.
Table makeTable(LogKind kind, const RecordLayout& layout, const Selection& selection);

}  // namespace logtool
