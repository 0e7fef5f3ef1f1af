#include "logfile/scan/LegacySource.hpp"

#include <array>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <system_error>
#include <utility>

#include "logfile/LegacyFile.hpp"
#include "logfile/LegacyFormat.hpp"
#include "registry/Conversion.hpp"

namespace {

std::string systemText(int result) {
  return std::generic_category().message(-result);
}

/// The keys of a header of either kind. The formats that check them end the process when something is
/// wrong, which must not keep the next log from being looked at.
class UncheckedFormat final : public LegacyFormat {
 public:
  using LegacyFormat::LegacyFormat;

  const std::vector<std::string>& getEntries() const override { return requiredValues("titles"); }
  const std::vector<std::string>& getSubEntries(int /*i*/) const override { return getEntries(); }

  bool isOfEvents() const { return firstValue("type") == "events"; }

  /// What the checking format would not take; empty when nothing.
  std::string fault() const {
    std::vector<std::string> needed = {"titles", "nentries"};
    if (isOfEvents()) needed.insert(needed.end(), {"types", "argNb", "argList"});
    for (const std::string& key : needed) {
      if (headerEntries.count(key) == 0) return "its header has no '" + key + "' entry";
    }
    if (!isOfEvents() && getEntries().empty()) return "its header names no columns";
    const std::vector<std::string> numbers =
        isOfEvents() ? requiredValues("argNb") : std::vector<std::string>{firstValue("nentries")};
    for (const std::string& number : numbers) {
      if (!isNumber(number)) return "its header has a count that is no number: " + number;
    }
    return {};
  }

 private:
  static bool isNumber(const std::string& text) {
    char* end = nullptr;
    errno = 0;
    const long number = std::strtol(text.c_str(), &end, 10);
    return end != text.c_str() && errno == 0 && number >= std::numeric_limits<std::int32_t>::min() &&
           number <= std::numeric_limits<std::int32_t>::max();
  }
};

std::vector<telemetry::VarDesc> doubles(const std::vector<std::string>& names) {
  std::vector<telemetry::VarDesc> variables;
  variables.reserve(names.size());
  for (const std::string& name : names) variables.push_back({name, TLM_VAR_DOUBLE, 1, sizeof(double)});
  return variables;
}

/// What both kinds share: the file, and the judgement of its end.
class LegacySource : public LogSource {
 protected:
  LegacySource(LogKind logKind, std::unique_ptr<LegacyFile> opened)
      : LogSource(logKind, opened->path()), bytes(std::move(opened)) {}

  /// The file ended in or before the record that begins at `start`. Always false.
  bool endedIn(std::uint64_t start) {
    if (bytes->readError() < 0) {
      ended(LogEnd::UNREADABLE, start, systemText(bytes->readError()));
    } else if (bytes->position() > start || !bytes->hasData()) {
      ended(LogEnd::CUT, start);
    }
    return false;
  }

  const std::unique_ptr<LegacyFile> bytes;
  std::vector<double> values;
};

class ContinuousSource final : public LegacySource {
 public:
  ContinuousSource(std::unique_ptr<LegacyFile> opened, const ContinuousFormat& format)
      : LegacySource(LogKind::CONTINUOUS, std::move(opened)) {
    variant = format.firstValue("ro.hardware");
    const std::vector<std::string>& titles = format.getEntries();
    // Of columns with one name, a replay stores the last one over the others.
    for (std::size_t i = 0; i < titles.size(); ++i) {
      if (titles[i] == "index") indexColumn = i;
    }
    known.push_back(
        std::make_unique<RecordLayout>(RecordLayout{"", doubles(titles), indexColumn.has_value()}));
    values.resize(titles.size());
  }

 private:
  bool read(Record& record) override {
    const std::uint64_t start = bytes->position();
    if (!bytes->read(values.data(), values.size())) return endedIn(start);
    const std::int64_t index = indexColumn ? fieldFromRecord<std::int32_t>(values[*indexColumn]) : number++;
    record = {known.front().get(), index, reinterpret_cast<const unsigned char*>(values.data())};
    return true;
  }

  std::optional<std::size_t> indexColumn;
  std::int64_t number = 0;  ///< of the next record, in a log without an index
};

class EventSource final : public LegacySource {
 public:
  EventSource(std::unique_ptr<LegacyFile> opened, const EventFormat& format)
      : LegacySource(LogKind::EVENTS, std::move(opened)) {
    variant = format.firstValue("product");
    const std::vector<std::string>& titles = format.getEntries();
    for (std::size_t id = 0; id < titles.size(); ++id) {
      known.push_back(std::make_unique<RecordLayout>(
          RecordLayout{titles[id], doubles(format.getSubEntries(static_cast<int>(id))), true}));
    }
  }

 private:
  bool read(Record& record) override {
    const std::uint64_t start = bytes->position();
    std::array<double, 3> head;  // bytes of the record, step, event id
    constexpr std::uint64_t headBytes = sizeof head;
    if (!bytes->read(head.data(), head.size())) return endedIn(start);
    if (!std::isfinite(head[0]) || head[0] < static_cast<double>(headBytes))
      return damaged(start, "a record of impossible size");
    const auto id = truncateTo<std::int32_t>(head[2]);
    if (id < 0 || static_cast<std::size_t>(id) >= known.size()) {
      return damaged(start, "a call of an API that the header doesn't name");
    }
    const RecordLayout* layout = known[static_cast<std::size_t>(id)].get();
    values.resize(layout->variables.size());
    const std::uint64_t recorded = (truncateToUnsigned64(head[0]) - headBytes) / sizeof(double);
    if (recorded != values.size()) {
      return damaged(start, "a call of " + layout->name + " with " + std::to_string(recorded) +
                                " arguments, not " + std::to_string(values.size()));
    }
    if (!bytes->read(values.data(), values.size())) return endedIn(start);
    record = {layout, truncateTo<std::int32_t>(head[1]),
              reinterpret_cast<const unsigned char*>(values.data())};
    return true;
  }

  /// The record at `start` can't be what its writer wrote. Always false.
  bool damaged(std::uint64_t start, const std::string& what) {
    ended(LogEnd::DAMAGED, start, what);
    return false;
  }
};

}  // namespace

std::unique_ptr<LogSource> openLegacy(const std::string& path, std::string& fault) {
  auto bytes = std::make_unique<LegacyFile>();
  if (const int result = bytes->open(path); result < 0) {
    fault = systemText(result);
    return nullptr;
  }
  const std::string header = bytes->extractHeader();
  const UncheckedFormat keys(header);
  if (bytes->readError() < 0) {
    fault = systemText(bytes->readError());
  } else if (header.empty()) {
    fault = "no flight log: neither the start of a blackbox log nor a legacy header";
  } else {
    fault = keys.fault();
  }
  if (!fault.empty()) return nullptr;
  if (keys.isOfEvents()) return std::make_unique<EventSource>(std::move(bytes), EventFormat(header));
  return std::make_unique<ContinuousSource>(std::move(bytes), ContinuousFormat(header));
}
