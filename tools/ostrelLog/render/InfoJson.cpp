#include "ostrelLog/render/InfoJson.hpp"

#include <utility>

#include "logfile/scan/ElementType.hpp"
#include "ostrelLog/render/Json.hpp"

namespace logtool {

namespace {

Json gapJson(const Gap& gap) {
  return {{"after", gap.after}, {"missing", gap.missing}};
}

/// The indices of a layout's records; null when they have none.
Json indexJson(const LayoutSummary& part) {
  const IndexSummary& records = part.records;
  if (!part.layout.hasIndex || records.count == 0) return nullptr;
  Json listed = Json::array();
  for (const Gap& gap : records.firstGaps) listed.push_back(gapJson(gap));
  Json gaps = {{"count", records.gapCount}, {"missing", records.missing}, {"first", listed}};
  // Null instead of a gap of 0 steps, which could be taken for one.
  gaps["largest"] = records.gapCount == 0 ? Json(nullptr) : gapJson(records.largest);
  return {{"first", records.first},
          {"last", records.last},
          {"repeated", records.repeated},
          {"backwards", records.backwards},
          {"gaps", gaps}};
}

Json variablesJson(const RecordLayout& layout) {
  Json list = Json::array();
  for (const LogVariable& variable : layout.variables) {
    const ElementType* type = elementType(variable);
    list.push_back({{"name", variable.name},
                    // Null for an unknown type; the sizes are known all the same.
                    {"type", type != nullptr ? Json(type->name) : Json(nullptr)},
                    {"elementBytes", variable.elementBytes},
                    {"elements", variable.count}});
  }
  return list;
}

/// The part that layouts of event logs and blackbox logs share.
Json partJson(const LayoutSummary& part) {
  return {{"name", part.layout.name}, {"records", part.records.count}};
}

void addColumns(const LogSummary& log, Json& object) {
  // All records of a continuous log have the same layout, so there is exactly one.
  object["columns"] = variablesJson(log.layouts.front().layout);
  object["index"] = indexJson(log.layouts.front());
}

void addApis(const LogSummary& log, Json& object) {
  Json apis = Json::array();
  for (const LayoutSummary& part : log.layouts) {
    Json api = partJson(part);
    api["arguments"] = variablesJson(part.layout);
    apis.push_back(std::move(api));
  }
  object["apis"] = std::move(apis);
  addUnusual(log.unusual, object);
  const IndexSummary& calls = log.records;
  // Without calls there is no first and no last step.
  if (calls.count == 0) return;
  object["steps"] = {
      {"first", calls.first}, {"last", calls.last}, {"backwards", calls.backwards}, {"late", calls.late}};
}

void addSections(const LogSummary& log, Json& object) {
  Json sections = Json::array();
  for (const LayoutSummary& part : log.layouts) {
    Json section = partJson(part);
    section["variables"] = variablesJson(part.layout);
    section["index"] = indexJson(part);
    sections.push_back(std::move(section));
  }
  object["sections"] = std::move(sections);
}

/// How the summary of each kind of log is named and filled.
struct KindJson {
  const char* name;
  void (*addContents)(const LogSummary& log, Json& object);
};

KindJson kindJson(LogKind kind) {
  switch (kind) {
    case LogKind::CONTINUOUS: return {"continuous", addColumns};
    case LogKind::EVENTS: return {"events", addApis};
    default: return {"blackbox", addSections};
  }
}

Json fileJson(const LogSummary& log) {
  const KindJson kind = kindJson(log.kind);
  Json object = {
      {"file", log.file}, {"kind", kind.name}, {"variant", log.variant}, {"records", log.records.count}};
  kind.addContents(log, object);
  object["end"] = endJson(log.end);
  return object;
}

Json fileJson(const Fault& fault) {
  return {{"file", fault.where}, {"error", fault.reason}};
}

}  // namespace

void writeJson(std::ostream& out, const std::vector<std::variant<LogSummary, Fault>>& files) {
  Json list = Json::array();
  for (const auto& file : files) {
    list.push_back(std::visit([](const auto& known) { return fileJson(known); }, file));
  }
  print(out, list);
}

}  // namespace logtool
