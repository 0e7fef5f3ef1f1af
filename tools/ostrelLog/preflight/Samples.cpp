#include "ostrelLog/preflight/Samples.hpp"

#include <cerrno>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "logfile/Binding.hpp"
#include "logfile/ErrorText.hpp"
#include "logfile/LegacyLayout.hpp"
#include "logfile/ReplayData.hpp"
#include "logfile/TlmbReader.hpp"
#include "logfile/scan/ReaderPosition.hpp"
#include "ostrelLog/preflight/LegacyLog.hpp"

namespace logtool {

namespace {

class LegacySamples final : public Samples {
 public:
  using Samples::Samples;

  std::optional<Fault> open() override {
    if (auto fault = log.open(LegacyLayout::HARDWARE, findings)) return fault;
    variant = log.variant;
    bind();
    return std::nullopt;
  }

  int next() override {
    const std::uint64_t start = log.file.position();
    if (!log.file.read(values.data(), values.size())) {
      findEnd(start);
      return -ENODATA;
    }
    // Of the sensors no value is needed. Of two columns with the index, the later one's value stays.
    for (const std::size_t column : indexColumns) indexEntry->fromRecord(values[column]);
    return 0;
  }

 private:
  void bind() {
    const ColumnBinding binding = bindColumns(log.format->getEntries(), columns.registry);
    indexEntry = columns.registry.entries.at("index");
    for (std::size_t column = 0; column < binding.entries.size(); ++column) {
      if (binding.entries[column] == indexEntry) indexColumns.push_back(column);
    }
    hasIndex = !indexColumns.empty();
    values.resize(binding.entries.size());
    boundSensors = columns.registry.entryList.size() - binding.notInFile.size();
    if (const std::size_t count = binding.notInFile.size(); count > 0) {
      findings.loss(
          "missing columns", count,
          counted(count, "sensor value") + " without a column, so that 0 is replayed:", binding.notInFile);
    }
    if (const std::size_t count = binding.notRegistered.size(); count > 0) {
      findings.loss("unknown columns", count,
                    counted(count, "column") + " that nothing takes:", binding.notRegistered);
    }
  }

  void findEnd(std::uint64_t start) {
    if (log.file.readError() < 0 && log.file.hasData()) {
      findings.loss("unreadable", 1,
                    std::string("can't be read to its end: ") + errorText(log.file.readError()));
    } else if (log.file.position() > start) {
      findings.loss("cut", 1,
                    "ends at byte " + std::to_string(start) + ": the record there is damaged or cut short");
    }
  }

  LegacyLog<ContinuousFormat> log;
  std::vector<double> values;
  DataEntryBase* indexEntry = nullptr;
  std::vector<std::size_t> indexColumns;
};

/// The replay's reader of blackbox logs. What it would log becomes findings.
class QuietTlmbReader final : public TlmbReaderImpl {
 public:
  QuietTlmbReader(DataRegistry& sensors, const std::optional<std::string>& section, Findings& target)
      : TlmbReaderImpl(&sensors), registered(sensors), findings(target) {
    if (section) sectionName = *section;
  }

  // Without the line that a replay logs for a log that it can't open.
  int open(const char* logPath) override { return blackbox ? blackbox->open(logPath) : -ENODEV; }

  const std::string& wanted() const { return sectionName; }

  void sectionChanged(unsigned int id, const void* description, std::size_t size) override {
    TlmbReaderImpl::sectionChanged(id, description, size);
    const bool isWanted = blackbox->sectionNameOf(id, description, size) == sectionName;
    // Every description of the wanted name counts, also one that is not adopted.
    const bool fits = isWanted && keepsPlaces(id);
    wantedIds.erase(id);
    if (isWanted) wantedIds.insert(id);
    if (isReplayed(id) && !fits) {
      findings.loss(
          "changed section", 1,
          "section " + sectionName +
              " changes its name or the order of its variables, so that wrong values are replayed");
    }
  }

  void sectionRemoved(unsigned int id) override { wantedIds.erase(id); }

  void sampleEnd(unsigned int id) override {
    TlmbReaderImpl::sampleEnd(id);
    if (!isReplayed(id) && wantedIds.count(id) != 0) ++skipped;
  }

  /// Says how the log ended, from the last result of popSample().
  void findEnd(int result) {
    if (skipped > 0) {
      findings.loss("skipped samples", skipped,
                    counted(skipped, "sample") + " of a section " + sectionName + " that is not replayed");
    }
    const std::optional<ReaderPosition> progress = positionOf(*blackbox);
    const std::string place = progress ? " at byte " + std::to_string(progress->byte) : "";
    if (result == -EBADMSG) {
      findings.loss("damaged", 1, "damaged in the block" + place);
    } else if (result != -ENODATA) {
      findings.loss("unreadable", 1, "can't be read on" + place + ": " + errorText(result));
    } else if (!progress) {
      findings.note("end not told", 1, "the telemetry library does not tell a cut log from a whole one");
    } else if (!progress->closed) {
      findings.loss("cut", 1, "cut short" + place);
    }
  }

 protected:
  void tellArray() override {
    findings.loss("array", 1, "section " + sectionName + " has an array in the place of a sensor value");
  }
  void tellOtherType(const telemetry::VarDesc& variable, Types /*entryType*/) override {
    findings.loss("other type", 1, "a variable of another type than the sensor value:", {variable.name});
  }
  void tellUnfilled(const std::set<DataEntryBase*>& unfilled) override {
    std::vector<std::string> names;
    for (const DataEntryBase* entry : unfilled) names.push_back(entry->name);
    const std::size_t count = names.size();
    findings.loss("missing variables", count,
                  "a description of section " + sectionName + " is not followed, for it lacks " +
                      counted(count, "sensor value") + ":",
                  std::move(names));
  }
  void tellMissingSection() override {
    findings.loss("missing section", 1,
                  "has no section " + sectionName + " that can be replayed, but " +
                      counted(sectionNames.size(), "section") + ":",
                  {sectionNames.begin(), sectionNames.end()});
  }

 private:
  /// Whether every variable that fills a sensor value stands where it stood when the section was first
  /// described, for a replay goes on to take it from there.
  bool keepsPlaces(unsigned int id) {
    bool keeps = true;
    for (unsigned int index = 0; index < blackbox->varCount(id); ++index) {
      const std::string& name = blackbox->varDesc(id, index).name;
      const auto place = registered.entries.count(name) != 0 ? firstNames.emplace(index, name).first
                                                             : firstNames.find(index);
      keeps = keeps && (place == firstNames.end() || place->second == name);
    }
    return keeps;
  }

  const DataRegistry& registered;
  Findings& findings;
  std::set<unsigned int> wantedIds;                ///< of the sections that have the wanted name now
  std::map<unsigned int, std::string> firstNames;  ///< sensor values, by the position of their variable
  std::uint64_t skipped = 0;  ///< samples of sections of the wanted name that are not replayed
};

class BlackboxSamples final : public Samples {
 public:
  BlackboxSamples(const std::string& path, const std::optional<std::string>& wanted)
      : Samples(path), reader(columns.registry, wanted, findings) {
    section = reader.wanted();
  }

  std::optional<Fault> open() override {
    if (const int result = reader.open(findings.file.c_str()); result < 0) {
      return Fault{findings.file, errorText(result)};
    }
    variant = reader.droneVariant;
    return std::nullopt;
  }

  int next() override {
    const int result = reader.popSample();
    // Only a section that fills every entry is adopted.
    if (result == 0) boundSensors = columns.registry.entryList.size();
    if (result < 0) reader.findEnd(result);
    return result;
  }

 private:
  QuietTlmbReader reader;
};

}  // namespace

std::unique_ptr<Samples> Samples::create(const std::string& path,
                                         const std::optional<std::string>& section) {
  if (LogFile::isTLMB(path)) return std::make_unique<BlackboxSamples>(path, section);
  return std::make_unique<LegacySamples>(path);
}

}  // namespace logtool
