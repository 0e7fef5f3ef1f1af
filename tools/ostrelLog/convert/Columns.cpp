#include "ostrelLog/convert/Columns.hpp"

#include <nlohmann/json.hpp>

namespace logtool {

namespace {

/// The name as other programs read it: U+FFFD takes the place of what is no UTF-8.
std::string utf8(const std::string& name) {
  using nlohmann::json;
  return json::parse(json(name).dump(-1, ' ', false, json::error_handler_t::replace)).get<std::string>();
}

}  // namespace

Table makeTable(LogKind kind, const RecordLayout& layout, const Selection& selection) {
  Table table{&layout, utf8(layout.name), kind == LogKind::EVENTS, {}, {}};
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
      if (whole || selection.has(name))
        table.columns.push_back({utf8(name), type, start + i * type->bytes});
    }
  }
  return table;
}

}  // namespace logtool
