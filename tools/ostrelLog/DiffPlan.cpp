#include "ostrelLog/DiffPlan.hpp"

#include <algorithm>
#include <map>
#include <utility>

namespace {

/// A variable as it stands in a record.
struct Field {
  Field(const telemetry::VarDesc& variable, std::size_t at)
      : elements(variable.count), offset(at), type(elementType(variable)) {
    if (type != nullptr) return;
    elements *= variable.elementBytes;
    type = elementType({"", TLM_VAR_UINT8, 1, 1});
  }

  Place place() const { return {offset, type->bytes, type->read, type}; }

  std::size_t elements;
  std::size_t offset;
  const ElementType* type;
};

using Fields = std::map<std::string, Field>;

/// The selected fields by name. Of columns with one name, the last one counts, as in a replay.
Fields fieldsOf(LogKind kind, const RecordLayout& layout, const Selection& selection) {
  Fields fields;
  std::size_t offset = 0;
  for (const telemetry::VarDesc& variable : layout.variables) {
    const bool argument = kind == LogKind::EVENTS;
    if (argument ? selection.has(layout, variable) : selection.has(variable.name)) {
      const std::string name = argument ? layout.name + "." + variable.name : variable.name;
      fields.insert_or_assign(name, Field(variable, offset));
    }
    offset += variable.elementBytes * variable.count;
  }
  return fields;
}

SharedVariable share(const std::string& name, const std::array<LogKind, 2>& kinds, const Field& a,
                     const Field& b) {
  SharedVariable variable{name, a.elements, {a.place(), b.place()}};
  const bool replayA = kinds[A] == LogKind::BLACKBOX;
  const bool replayB = kinds[B] == LogKind::BLACKBOX;
  if (replayA != replayB) {
    Place& legacy = variable.places[replayA ? B : A];
    legacy.shown = (replayA ? a : b).type;
    legacy.read = legacy.shown->readRecorded;
  }
  return variable;
}

}  // namespace

DiffPlan makeDiffPlan(const std::array<LogKind, 2>& kinds,
                      const std::array<const RecordLayout*, 2>& layouts, const Selection& selection) {
  DiffPlan plan;
  const Fields fieldsA = fieldsOf(kinds[A], *layouts[A], selection);
  Fields rest = fieldsOf(kinds[B], *layouts[B], selection);
  for (const auto& [name, a] : fieldsA) {
    const auto b = rest.find(name);
    if (b == rest.end() || b->second.elements != a.elements) {
      plan.alone[A].push_back(name);
    } else {
      plan.shared.push_back(share(name, kinds, a, b->second));
      rest.erase(b);
    }
  }
  for (const auto& [name, field] : rest) plan.alone[B].push_back(name);
  std::sort(plan.shared.begin(), plan.shared.end(), [](const SharedVariable& x, const SharedVariable& y) {
    return x.places[A].offset < y.places[A].offset;
  });
  return plan;
}
