#include "ostrelLog/render/Json.hpp"

#include <ostream>

namespace logtool {

namespace {

const char* stateName(LogEnd::State state) {
  switch (state) {
    case LogEnd::WHOLE: return "whole";
    case LogEnd::CUT: return "cut";
    case LogEnd::DAMAGED: return "damaged";
    case LogEnd::NOT_TOLD: return "not told";
    default: return "unreadable";
  }
}

}  // namespace

void addUnusual(const std::map<std::string, std::uint64_t>& unusual, Json& object) {
  // Without anything unusual, the object gets no such key at all.
  for (const auto& [what, count] : unusual) {
    object["unusual"].push_back({{"records", count}, {"what", what}});
  }
}

Json endJson(const LogEnd& end) {
  Json object = {{"state", stateName(end.state)},
                 {"byte", end.byte ? Json(*end.byte) : Json(nullptr)},
                 {"reason", end.reason}};
  if (end.remainder > 0) object["remainder"] = end.remainder;
  return object;
}

void print(std::ostream& out, const Json& value) {
  // The default error handler would throw at bytes that are not UTF-8, which a damaged log may contain.
  out << value.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
}

}  // namespace logtool
