#include "ostrelLog/render/CheckJson.hpp"

#include <ostream>

#include "ostrelLog/render/Json.hpp"

namespace logtool {

namespace {

const char* verdictName(CheckResult::Verdict verdict) {
  switch (verdict) {
    case CheckResult::LOSSLESS: return "lossless";
    case CheckResult::LOSSES: return "losses";
    default: return "cannot run";
  }
}

Json findingsJson(const CheckResult& result, bool losses) {
  Json list = Json::array();
  for (const Finding& finding : result.findings) {
    if (finding.loss != losses) continue;
    list.push_back({{"kind", finding.kind},
                    {"file", finding.file},
                    {"count", finding.count},
                    {"text", finding.text},
                    {"names", finding.names}});
  }
  return list;
}

Json stepsJson(const CheckResult& result) {
  if (result.steps.count == 0 || !result.hasIndex) return nullptr;
  return {{"first", result.steps.first}, {"last", result.steps.last}};
}

}  // namespace

void writeJson(std::ostream& out, const CheckResult& result) {
  Json object = {{"verdict", verdictName(result.verdict())}};
  if (result.obstacle) {
    object["obstacle"] = {{"where", result.obstacle->where}, {"reason", result.obstacle->reason}};
    return print(out, object);
  }
  object["losses"] = findingsJson(result, true);
  object["notes"] = findingsJson(result, false);
  object["library"] = {{"file", result.library}, {"apis", result.apis}};
  object["variant"] = {{"name", result.variant}, {"from", result.variantSource}};
  object["section"] = result.section ? Json(*result.section) : Json(nullptr);
  object["sensors"] = {{"registered", result.sensors}, {"bound", result.boundSensors}};
  object["samples"] = result.steps.count;
  object["steps"] = stepsJson(result);
  object["calls"] = {{"recorded", result.calls}, {"made", result.callsMade}};
  print(out, object);
}

}  // namespace logtool
