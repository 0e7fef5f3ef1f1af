#include <cerrno>
#include <memory>
#include <set>

#include "Support.hpp"
#include "blackbox_format.hpp"
#include "logfile/TlmbReader.hpp"
#include "registry/Introspect.hpp"
#include "telemetry/blackbox_reader.hpp"
#include "telemetry/producer.hpp"

namespace format = telemetry::format;
using telemetry::VarDesc;

namespace {

constexpr const char* SECTION = "navdata-replay";  // as in the seeds

/// A registry, and the samples that a reader should find for it in the log under way.
struct Target {
  void freeze() {
    registry.freeze();
    telemetry::Producer producer("");
    for (DataEntryBase* entry : registry.entryList) entry->registerToTlm(producer);
    for (const VarDesc& variable : producer.descriptions()) wanted[variable.name] = variable.type;
  }

  void describe(unsigned int id, const std::vector<VarDesc>& variables) {
    std::set<std::string> filled;
    for (const VarDesc& variable : variables) {
      const auto found = wanted.find(variable.name);
      if (found == wanted.end()) continue;
      if (variable.count > 1) return;
      if (found->second == variable.type) filled.insert(variable.name);
    }
    if (filled.size() == wanted.size()) adopted = id;
  }

  void requireSamples(const std::string& path, int openResult, int lastResult) {
    std::memset(static_cast<void*>(&sensors), 0, sizeof(sensors));
    *index = 0;
    std::unique_ptr<LogFile::IReader> reader(TlmbReader::create(&registry));
    REQUIRE(reader->open(path.c_str()) == openResult);
    int result = 0;
    std::size_t found = 0;
    for (; (result = reader->popSample()) == 0; ++found) {
      REQUIRE(found < samples);
      delivered().emplace_back(reinterpret_cast<const char*>(&sensors), sizeof(sensors));
      delivered().back() += std::to_string(*index);
    }
    REQUIRE(found == samples && result == (lastResult == -ENOENT ? -ENODATA : lastResult));
    const sensors_data last = sensors;
    for (int i = 0; i < 3; ++i) REQUIRE(reader->popSample() == result);
    REQUIRE(std::memcmp(&last, &sensors, sizeof(last)) == 0);
    const sensors_data none{};
    REQUIRE(adopted >= 0 || (*index == 0 && std::memcmp(&last, &none, sizeof(last)) == 0));
    std::vector<int> events;
    REQUIRE(reader->popSample(0, events) == -ENOSYS && reader->close() == 0);
  }

  sensors_data sensors{};
  const std::unique_ptr<int> index = std::make_unique<int>();  // alone, so that any write beyond it shows
  DataRegistry registry;
  std::map<std::string, tlm_var_type> wanted;
  std::int64_t adopted = -1;
  std::size_t samples = 0;
};

/// Holds the reader to the order of its callbacks and to the sizes that it tells.
struct Watcher : telemetry::BlackboxReaderItfCb {
  void sectionAdded(unsigned int id) override { REQUIRE(sections.insert(id).second); }
  void sectionRemoved(unsigned int id) override { REQUIRE(sections.erase(id) == 1); }
  void sectionChanged(unsigned int id, const void* description, std::size_t size) override {
    REQUIRE(sections.count(id) == 1 && sections.size() <= format::maxSections);
    if (reader->sectionNameOf(id, description, size) != SECTION) return;
    std::vector<VarDesc> variables;
    for (unsigned int i = 0; i < reader->varCount(id); ++i) variables.push_back(reader->varDesc(id, i));
    for (Target* target : targets) target->describe(id, variables);
  }
  void sampleBegin(unsigned int id, const timespec*, const void* bytes, std::size_t size) override {
    REQUIRE(sections.count(id) == 1 && next == end);
    next = static_cast<const char*>(bytes);
    end = next + size;
    nextIndex = 0;
  }
  void sample(unsigned int id, const timespec*, unsigned int index, const VarDesc& variable,
              const void* bytes, std::size_t size) override {
    REQUIRE(index == nextIndex++ && index < reader->varCount(id) && bytes == next);
    REQUIRE(size > 0 && size == variable.elementBytes * variable.count);
    next += size;
  }
  void sampleEnd(unsigned int id) override {
    REQUIRE(next == end && nextIndex == reader->varCount(id));
    for (Target* target : targets) target->samples += target->adopted == id ? 1 : 0;
  }

  std::vector<Target*> targets;
  const std::unique_ptr<telemetry::BlackboxReaderItf> reader{telemetry::BlackboxReaderItf::create(this)};
  std::set<unsigned int> sections;
  const char* next = nullptr;
  const char* end = nullptr;
  unsigned int nextIndex = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static Target whole, small;
  if (!whole.registry.frozen) {
    setenv("TLMB_SECTION_NAME", SECTION, 1);
    Registrator registrator(whole.registry);
    introspect<sensors_data, Registrator>(registrator, whole.sensors, "inputs.sensors");
    for (Target* target : {&whole, &small}) {
      target->registry.reg("index", target->index.get());
      target->freeze();
    }
  }
  Watcher watcher;
  watcher.targets = {&small, &whole};
  for (Target* target : watcher.targets) {
    target->adopted = -1;
    target->samples = 0;
  }
  const std::string& path = inputFile(bytes, size);
  const int opened = watcher.reader->open(path);
  REQUIRE(opened == 0 || opened == -EINVAL || opened == -ENOTSUP || opened == -EBADMSG);
  int result = 0;
  for (std::size_t blocks = 0; (result = watcher.reader->step()) == 0; ++blocks)
    REQUIRE(blocks < size / 20);
  REQUIRE(result == (opened == 0 ? result : -EBADF) &&
          (opened != 0 || result == -ENOENT || result == -EBADMSG));
  for (int i = 0; i < 3; ++i) REQUIRE(watcher.reader->step() == result);
  for (Target* target : watcher.targets) {
    delivered().clear();  // the last one has all sensors
    target->requireSamples(path, opened, result);
  }
  return 0;
}
