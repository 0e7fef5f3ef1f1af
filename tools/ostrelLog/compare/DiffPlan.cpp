#include "ostrelLog/compare/DiffPlan.hpp"

#include <algorithm>
#include <map>

namespace logtool {

namespace {

/// A variable as it lies in a record.
struct Field {
  Field(const telemetry::VarDesc& variable, std::size_t recordOffset)
      : elements(variable.count), offset(recordOffset), type(elementType(variable)) {
    if (type != nullptr) return;
    // An unknown type counts as so many bytes.
    elements *= variable.elementBytes;
    type = elementType({"", TLM_VAR_UINT8, 1, 1});
  }

  Place place() const { return {offset, type->bytes, type->read, type}; }

  std::size_t elements;
  std::size_t offset;
  const ElementType* type;
};

using Fields = std::map<std::string, Field>;

/// The selected fields by name. Of columns with the same name, the last one counts, as in a replay.
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

SharedVariable share(const std::string& name, const LogPair<LogKind>& kinds, const LogPair<Field>& fields) {
  SharedVariable variable{name, fields.a.elements, {fields.a.place(), fields.b.place()}};
  const bool blackboxA = kinds.a == LogKind::BLACKBOX;
  const bool blackboxB = kinds.b == LogKind::BLACKBOX;
  if (blackboxA != blackboxB) {
    Place& legacy = blackboxA ? variable.places.b : variable.places.a;
    legacy.shown = (blackboxA ? fields.a : fields.b).type;
    legacy.read = legacy.shown->readRecorded;
  }
  return variable;
}

}  // namespace

DiffPlan makeDiffPlan(const LogPair<LogKind>& kinds, const LogPair<const RecordLayout*>& layouts,
                      const Selection& selection) {
  DiffPlan plan;
  const Fields fieldsA = fieldsOf(kinds.a, *layouts.a, selection);
  Fields fieldsB = fieldsOf(kinds.b, *layouts.b, selection);
  for (const auto& [name, a] : fieldsA) {
    const auto b = fieldsB.find(name);
    if (b == fieldsB.end() || b->second.elements != a.elements) {
      plan.alone.a.push_back(name);
    } else {
      plan.shared.push_back(share(name, kinds, {a, b->second}));
      fieldsB.erase(b);
    }
  }
  // What is still here has no counterpart in A.
  for (const auto& [name, field] : fieldsB) plan.alone.b.push_back(name);
  std::sort(plan.shared.begin(), plan.shared.end(), [](const SharedVariable& x, const SharedVariable& y) {
    return x.places.a.offset < y.places.a.offset;
  });
  return plan;
}

}  // namespace logtool
