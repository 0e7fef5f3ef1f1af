#include "ostrelLog/compare/DiffPlan.hpp"

#include <algorithm>
#include <map>

namespace logtool {

namespace {

/// A variable as it lies in a record.
struct Field {
  Field(const LogVariable& variable, std::size_t recordOffset)
      : elements(variable.count), offset(recordOffset), type(elementType(variable)) {
    if (type != nullptr) return;
    // An unknown type counts as so many bytes.
    elements *= variable.elementBytes;
    type = elementType(TLM_VAR_UINT8);
  }

  Place place() const { return {offset, type->bytes, type->read, type}; }

  Field element(std::size_t number) const {
    Field field = *this;
    field.elements = 1;
    field.offset += number * type->bytes;
    return field;
  }

  std::size_t elements;
  std::size_t offset;
  const ElementType* type;
};

using Fields = std::map<std::string, Field>;

/// Adds the elements that the selection names one by one, of an array that it does not take as a whole.
void addElements(Fields& fields, const std::string& name, const Field& field, const Selection& selection) {
  // A single value has no element names: users see NAME, never NAME[0].
  if (field.elements == 1) return;
  for (std::size_t i = 0; i < field.elements; ++i) {
    const std::string element = elementName(name, i);
    if (selection.has(element)) fields.insert_or_assign(element, field.element(i));
  }
}

/// The selected fields by name. Of columns with the same name, the last one counts, as in a replay.
Fields fieldsOf(LogKind kind, const RecordLayout& layout, const Selection& selection) {
  Fields fields;
  std::size_t offset = 0;
  for (const LogVariable& variable : layout.variables) {
    const bool argument = kind == LogKind::EVENTS;
    const std::string name = argument ? layout.name + "." + variable.name : variable.name;
    const Field field(variable, offset);
    if (argument ? selection.has(layout, variable) : selection.has(name)) {
      fields.insert_or_assign(name, field);
    } else {
      addElements(fields, name, field, selection);
    }
    // Fields that are not selected take up their place, too.
    offset += variable.elementBytes * variable.count;
  }
  return fields;
}

/// Joins the fields of both logs that have this name.
SharedVariable share(const std::string& name, const LogPair<LogKind>& kinds, const LogPair<Field>& fields) {
  SharedVariable variable{name, fields.a.elements, {fields.a.place(), fields.b.place()}};
  const bool blackboxA = kinds.a == LogKind::BLACKBOX;
  const bool blackboxB = kinds.b == LogKind::BLACKBOX;
  // A replay rounds a recorded double to the type of its variable. That is no difference.
  if (blackboxA != blackboxB) {
    Place& legacy = blackboxA ? variable.places.b : variable.places.a;
    legacy.shown = (blackboxA ? fields.a : fields.b).type;
    legacy.read = legacy.shown->readRecorded;
  }
  return variable;
}

}  // namespace

std::string elementName(const std::string& variable, std::size_t element) {
  return variable + "[" + std::to_string(element) + "]";
}

bool selectsFrom(LogKind kind, const RecordLayout& layout, const Selection& selection) {
  return !fieldsOf(kind, layout, selection).empty();
}

DiffPlan makeDiffPlan(const LogPair<LogKind>& kinds, const LogPair<const RecordLayout*>& layouts,
                      const Selection& selection) {
  DiffPlan plan;
  const Fields fieldsA = fieldsOf(kinds.a, *layouts.a, selection);
  Fields fieldsB = fieldsOf(kinds.b, *layouts.b, selection);
  for (const auto& [name, a] : fieldsA) {
    const auto b = fieldsB.find(name);
    if (b == fieldsB.end() || b->second.elements != a.elements) {
      // Arrays of different lengths stay in B's list as well: neither log has the variable of the other.
      plan.alone.a.push_back(name);
    } else {
      plan.shared.push_back(share(name, kinds, {a, b->second}));
      fieldsB.erase(b);
    }
  }
  // What is still here has no counterpart in A.
  for (const auto& [name, field] : fieldsB) plan.alone.b.push_back(name);
  // The map has sorted by name, but the first difference is to be the first one in the record.
  std::sort(plan.shared.begin(), plan.shared.end(), [](const SharedVariable& x, const SharedVariable& y) {
    return x.places.a.offset < y.places.a.offset;
  });
  return plan;
}

}  // namespace logtool
