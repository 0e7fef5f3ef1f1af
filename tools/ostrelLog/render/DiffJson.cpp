#include "ostrelLog/render/DiffJson.hpp"

#include <cmath>

#include "ostrelLog/render/Json.hpp"

namespace logtool {

namespace {

/// The answer as programs read it; scripts rely on these words.
const char* answerName(DiffResult::Answer answer) {
  switch (answer) {
    case DiffResult::SAME: return "same";
    case DiffResult::DIFFERENT: return "different";
    default: return "trouble";
  }
}

/// The first difference: either with the log that alone has the record, or with the values of both logs.
Json firstJson(const std::optional<FirstDifference>& first) {
  if (!first) return nullptr;
  if (first->onlyIn) {
    return {{"index", first->index}, {"what", first->what}, {"onlyIn", nameOf(*first->onlyIn)}};
  }
  return {{"index", first->index}, {"what", first->what}, {"a", first->values.a}, {"b", first->values.b}};
}

Json differencesJson(const SectionDiff& part) {
  Json list = Json::array();
  for (const auto& [name, difference] : part.differences) {
    // Becomes null below if it is not finite, because JSON has neither NaN nor infinity. The distance of
    // two huge values may be too large for a double.
    const auto largest = static_cast<double>(difference.largest);
    list.push_back({{"name", name},
                    {"records", difference.records},
                    {"largest", std::isfinite(largest) ? Json(largest) : Json(nullptr)},
                    {"firstIndex", difference.firstIndex}});
  }
  return list;
}

/// What one log contributes to a compared pair of sections.
Json recordsJson(const SectionDiff& part, Side side) {
  const std::optional<std::string>& section = part.sections[side];
  const ComparedRecords& log = part.logs[side];
  return {{"section", section ? Json(*section) : Json(nullptr)},
          {"records", log.records},
          {"recordsAlone", log.recordsAlone},
          {"firstAlone", log.recordsAlone > 0 ? Json(log.firstAlone) : Json(nullptr)},
          {"variablesAlone", log.variablesAlone}};
}

Json partJson(const SectionDiff& part) {
  return {{"same", part.same()},
          {"a", recordsJson(part, Side::A)},
          {"b", recordsJson(part, Side::B)},
          {"pairs", part.pairs},
          // Only their number: a flight has more than a hundred variables, which `info` names.
          {"sharedVariables", part.sharedVariables.size()},
          {"first", firstJson(part.first)},
          {"differences", differencesJson(part)},
          {"tryByRecord", part.keptApartByGapsOf().has_value()}};
}

Json fileJson(const DiffResult& result, Side side) {
  const std::optional<LogEnd>& end = result.ends[side];
  Json object = {{"file", result.files[side]},
                 // Null for a log that was not read to its end, which is not the same as a whole log.
                 {"end", end ? endJson(*end) : Json(nullptr)},
                 {"sectionsAlone", result.sectionsAlone[side]}};
  addUnusual(result.unusual[side], object);
  return object;
}

}  // namespace

void writeJson(std::ostream& out, const DiffResult& result) {
  // "error" is always there, null without trouble, so that a program need not ask for the key.
  Json object = {{"answer", answerName(result.answer())}, {"error", nullptr}};
  if (const auto trouble = result.trouble()) object["error"] = trouble->where + ": " + trouble->reason;
  object["records"] = result.ofCalls ? "calls" : "steps";
  object["a"] = fileJson(result, Side::A);
  object["b"] = fileJson(result, Side::B);
  object["compared"] = Json::array();
  for (const SectionDiff& part : result.parts) object["compared"].push_back(partJson(part));
  print(out, object);
}

}  // namespace logtool
