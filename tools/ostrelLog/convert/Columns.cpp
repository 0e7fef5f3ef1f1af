#include "ostrelLog/convert/Columns.hpp"

namespace logtool {

Table makeTable(LogKind kind, const RecordLayout& layout, const Selection& selection) {
  Table table{&layout, kind == LogKind::EVENTS, {}, {}};
  std::size_t offset = 0;
  for (const LogVariable& variable : layout.variables) {
    const std::size_t start = offset;
    offset += variable.elementBytes * variable.count;
    const ElementType* type = elementType(variable);
    if (!table.ofCalls && variable.name == "index" && variable.count == 1 && type != nullptr) continue;
    const bool whole = table.ofCalls ? selection.has(layout, variable) : selection.has(variable.name);
    if (type == nullptr) {
      if (whole) table.unreadable.push_back(variable.name);
      continue;
    }
    for (std::size_t i = 0; i < variable.count; ++i) {
      const std::string name =
          variable.count == 1 ? variable.name : variable.name + "[" + std::to_string(i) + "]";
      if (whole || selection.has(name)) table.columns.push_back({name, type, start + i * type->bytes});
    }
  }
  return table;
}

}  // namespace logtool
