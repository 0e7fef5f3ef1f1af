#include "logfile/scan/BlackboxSource.hpp"

#include <algorithm>
#include <cerrno>
#include <map>
#include <utility>

#include "logfile/ErrorText.hpp"
#include "logfile/scan/ElementType.hpp"
#include "logfile/scan/ReaderPosition.hpp"
#include "registry/Conversion.hpp"
#include "telemetry/blackbox_reader.hpp"

namespace {

/// Bounds the memory that a log can ask for by describing ever more sections: as many as can exist at once.
constexpr std::size_t MAX_LAYOUTS = 256;

/// The size of an element as the description tells it, which that of our own telemetry layer does.
template <class Description>
auto elementBytes(const Description& variable, int) -> decltype(variable.elementBytes) {
  return variable.elementBytes;
}

/// Where the description has no such member: the size that the type has, 0 for an unknown one.
template <class Description>
std::size_t elementBytes(const Description& variable, long) {
  const ElementType* type = elementType(variable.type);
  return type != nullptr ? type->bytes : 0;
}

/// Bytes of one variable in a sample.
std::size_t bytesOf(const LogVariable& variable) {
  return variable.elementBytes * variable.count;
}

bool sameVariable(const LogVariable& a, const LogVariable& b) {
  return a.name == b.name && a.type == b.type && a.count == b.count && a.elementBytes == b.elementBytes;
}

/// Turns the telemetry library's callbacks into records that are asked for one at a time.
class BlackboxSource final : public LogSource, private telemetry::BlackboxReaderItfCb {
 public:
  explicit BlackboxSource(const std::string& path)
      : LogSource(LogKind::BLACKBOX, path), reader(telemetry::BlackboxReaderItf::create(this)) {}

  /// 0, also for a log whose header is damaged; or the negated errno of the telemetry library.
  int open() {
    const int result = reader ? reader->open(file) : -ENODEV;
    if (result != -EBADMSG) return result;
    // The first word is that of a log, so it is one: damaged from the start, and without records.
    headDamaged = true;
    return 0;
  }

  std::optional<std::uint64_t> position() const override {
    const std::optional<ReaderPosition> progress = positionOf(*reader);
    if (!progress) return std::nullopt;
    return progress->byte;
  }

 private:
  /// Where the samples of a section have their step index.
  struct Index {
    std::size_t offset;
    const ElementType* type;
  };

  struct Section {
    RecordLayout described;
    const RecordLayout* layout = nullptr;  ///< null until the sizes of all variables are known
    std::size_t bytes = 0;                 ///< of a sample
    std::optional<Index> index;
    std::int64_t number = 0;  ///< of the next sample, for one without an index
  };

  bool read(Record& record) override {
    if (headDamaged) {
      ended(LogEnd::DAMAGED, std::nullopt, "in its header");
      return false;
    }
    sampled = nullptr;
    int result = 0;
    // A step is one block, which need not be a sample.
    while (result == 0 && sampled == nullptr && !tooManyLayouts) {
      blockStart = position();
      result = reader->step();
    }
    if (sampled == nullptr || tooManyLayouts) {
      judgeEnd(result);
      return false;
    }
    // Another telemetry library may contradict itself; whoever reads the record relies on its size.
    if (sampleBytes.size() != sampled->bytes) {
      ended(LogEnd::DAMAGED, std::nullopt, "a sample of another size than its section describes");
      return false;
    }
    record = {sampled->layout, indexOf(*sampled), sampleBytes.data(), sampleTime};
    return true;
  }

  /// Tells how the log ended from the last result of the telemetry library.
  void judgeEnd(int result) {
    const std::optional<ReaderPosition> progress = positionOf(*reader);
    const std::optional<std::uint64_t> byte = position();
    // Sections without samples are part of the log, too.
    for (auto& [id, section] : sections) settle(section);
    if (tooManyLayouts) {
      ended(LogEnd::DAMAGED, blockStart,
            "more than " + std::to_string(MAX_LAYOUTS) + " different sections");
    } else if (result == -EBADMSG) {
      ended(LogEnd::DAMAGED, byte);
    } else if (result != -ENOENT) {
      ended(LogEnd::UNREADABLE, byte, errorText(result));
    } else if (!progress) {
      ended(LogEnd::NOT_TOLD, std::nullopt);
      // The library ends cut and closed logs alike; only a closed one has its END block.
    } else if (!progress->closed) {
      ended(LogEnd::CUT, byte);
    }
  }

  /// The step of the sample just read, as a replay would see it; counted where the section has none.
  std::int64_t indexOf(Section& section) {
    if (!section.index) return section.number++;
    const long double value = section.index->type->read(sampleBytes.data() + section.index->offset);
    // By way of a double, like the index column of a legacy log, so that both kinds give the same steps.
    return fieldFromRecord<std::int32_t>(static_cast<double>(value));
  }

  /// The layout of a section that is described this way, kept for good. Null when there are too many.
  const RecordLayout* layoutOf(RecordLayout described) {
    for (const auto& layout : known) {
      if (layout->name == described.name &&
          std::equal(layout->variables.begin(), layout->variables.end(), described.variables.begin(),
                     described.variables.end(), sameVariable)) {
        return layout.get();
      }
    }
    if (known.size() == MAX_LAYOUTS) return nullptr;
    return known.emplace_back(std::make_unique<RecordLayout>(std::move(described))).get();
  }

  void sectionChanged(unsigned int id, const void* description, std::size_t size) override {
    if (const auto before = sections.find(id); before != sections.end()) settle(before->second);
    // A section that changes gets another layout, because callers may still refer to the old one.
    Section section;
    section.described.name = reader->sectionNameOf(id, description, size);
    bool sizesKnown = true;
    for (unsigned int i = 0; i < reader->varCount(id); ++i) {
      const telemetry::VarDesc& variable = reader->varDesc(id, i);
      section.described.variables.push_back(
          {variable.name, variable.type, variable.count, elementBytes(variable, 0)});
      sizesKnown = sizesKnown && section.described.variables.back().elementBytes > 0;
    }
    // Otherwise its first sample tells the sizes that are missing.
    if (sizesKnown) settle(section);
    sections[id] = std::move(section);
  }

  /// Gives a section its layout, and places its variables in a sample. Does nothing when called again.
  void settle(Section& section) {
    if (section.layout != nullptr || tooManyLayouts) return;
    for (const LogVariable& variable : section.described.variables) {
      const ElementType* type = elementType(variable);
      if (variable.name == "index" && variable.count == 1 && type != nullptr) {
        section.index = {section.bytes, type};
      }
      section.bytes += bytesOf(variable);
    }
    section.described.hasIndex = section.index.has_value();
    section.layout = layoutOf(section.described);
    tooManyLayouts = section.layout == nullptr;
  }

  void sectionRemoved(unsigned int id) override {
    const auto found = sections.find(id);
    if (found == sections.end()) return;
    settle(found->second);
    sections.erase(found);
  }

  void sampleBegin(unsigned int id, const timespec* time, const void* bytes, std::size_t size) override {
    const auto found = sections.find(id);
    if (found == sections.end()) return;
    const auto* first = static_cast<const unsigned char*>(bytes);
    // Copied: the library's bytes are only valid during the callback.
    sampleBytes.assign(first, first + size);
    sampleTime = *time;
    sampled = &found->second;
  }

  void sample(unsigned int /*id*/, const timespec* /*time*/, unsigned int index,
              const telemetry::VarDesc& /*description*/, const void* /*bytes*/, std::size_t size) override {
    if (sampled == nullptr || sampled->layout != nullptr) return;
    std::vector<LogVariable>& variables = sampled->described.variables;
    if (index < variables.size() && variables[index].count > 0) {
      variables[index].elementBytes = size / variables[index].count;
    }
  }

  void sampleEnd(unsigned int /*id*/) override {
    if (sampled != nullptr) settle(*sampled);
  }

  void fileHeader(const std::map<std::string, std::string>& values) override {
    const auto found = values.find("ro.hardware");
    if (found != values.end()) variant = found->second;
  }

  std::map<unsigned int, Section> sections;  ///< those that exist at this place of the log
  std::vector<unsigned char> sampleBytes;    ///< the values of the sample read last
  timespec sampleTime{};
  Section* sampled = nullptr;               ///< the section of `sampleBytes`, once there is one
  std::optional<std::uint64_t> blockStart;  ///< of the block read last
  bool tooManyLayouts = false;
  bool headDamaged = false;
  // Destroyed first: a telemetry library may deliver a last sample while its reader is destroyed.
  const std::unique_ptr<telemetry::BlackboxReaderItf> reader;
};

}  // namespace

std::unique_ptr<LogSource> openBlackbox(const std::string& path, std::string& fault) {
  auto source = std::make_unique<BlackboxSource>(path);
  const int result = source->open();
  if (result == 0) return source;
  if (result == -EINVAL) {
    fault = "no blackbox log, though its first word is that of one";
  } else if (result == -ENOTSUP) {
    fault = "a blackbox log of another version";
  } else {
    fault = errorText(result);
  }
  return nullptr;
}
