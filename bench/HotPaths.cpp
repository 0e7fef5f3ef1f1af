// What one record costs on its way from a log to the fields, or from the fields to a log, each beside the
// least that the same bytes can cost.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <numeric>
#include <string>
#include <variant>
#include <vector>

#include "blackboxlog/blackbox_writer.hpp"
#include "blackboxlog/sample_packer.hpp"
#include "logfile/LegacyFile.hpp"
#include "logfile/LegacyReader.hpp"
#include "logfile/TlmbReader.hpp"
#include "ostrelLog/FlightFiles.hpp"
#include "registry/Introspect.hpp"
#include "support/TestFolder.hpp"

namespace {

/// The sensor record and its registry, as the replay's environment holds them.
struct Sensors {
  Sensors() {
    std::memset(&record, 0, sizeof(record));
    introspect<sensors_data, Registrator>(registrator, record, "inputs.sensors");
    registry.reg("index", &index);
    registry.freeze();
    for (DataEntryBase* entry : registry.entryList) entry->registerToTlm(producer);
  }

  sensors_data record;
  int index = 0;
  DataRegistry registry;
  Registrator registrator{registry};
  telemetry::Producer producer{"navdata"};
};

/// A made flight of 20,000 samples, and the same samples as a blackbox log.
struct Logs {
  Logs() {
    logtool::FlightOptions options;
    options.name = folder.path("flight");
    options.seconds = 20;
    options.rate = 1000;
    if (!std::holds_alternative<logtool::MadeFlight>(makeFlight(options))) std::abort();
    Sensors sensors;
    std::unique_ptr<LogFile::IReader> reader(
        LegacyReader::create(sensors.registry, LogFile::CONTENTS_CONTINUOUS));
    blackboxlog::BlackboxWriter writer;
    if (reader->open(continuous.c_str()) < 0 || writer.open(blackbox, {}) < 0) std::abort();
    const int id = writer.addSection("navdata", sensors.producer.descriptions());
    const blackboxlog::SamplePacker packer(sensors.producer);
    std::vector<unsigned char> sample(packer.size());
    while (reader->popSample() == 0) {
      packer.pack(sample.data());
      writer.sample(static_cast<unsigned int>(id), {}, sample.data(), sample.size());
    }
    if (writer.close() < 0) std::abort();
  }

  TestFolder folder;
  std::string continuous = folder.path("flight.cont");
  std::string events = folder.path("flight.events");
  std::string blackbox = folder.path("flight.tlmb");
};

const Logs& logs() {
  static const Logs made;
  return made;
}

/// Reads the log over and over, opening it anew at its end, outside the measured time.
template <class Open>
void readOverAndOver(benchmark::State& state, const std::string& path, Open open) {
  std::unique_ptr<LogFile::IReader> reader;
  for ([[maybe_unused]] auto iteration : state) {
    if (reader && reader->popSample() == 0) continue;
    state.PauseTiming();
    reader.reset(open());
    reader->open(path.c_str());
    state.ResumeTiming();
    reader->popSample();
  }
}

void continuousRecord(benchmark::State& state) {
  Sensors sensors;
  readOverAndOver(state, logs().continuous, [&sensors] {
    return LegacyReader::create(sensors.registry, LogFile::CONTENTS_CONTINUOUS);
  });
}
BENCHMARK(continuousRecord);

/// The limit of continuousRecord: the bytes of as many fields of each type, read through a buffer of the
/// same size and converted in the order in which they lie.
void plainRecord(benchmark::State& state) {
  struct {
    float floats[78];
    int ints[20];
    long longs[18];
    unsigned char bytes[6];
    unsigned int words[6];
    unsigned short shorts[4];
    double doubles[3];
    unsigned long stamps[3];
    bool flag;
  } fields;
  double values[139];
  LegacyFile header;
  header.open(logs().continuous);
  header.readHeader();
  std::FILE* file = std::fopen(logs().continuous.c_str(), "rb");
  std::vector<char> buffer(128UL * 1024);
  std::setvbuf(file, buffer.data(), _IOFBF, buffer.size());
  const auto rewind = [&] { std::fseek(file, static_cast<long>(header.position()), SEEK_SET); };
  rewind();
  for ([[maybe_unused]] auto iteration : state) {
    if (std::fread(values, sizeof(double), std::size(values), file) != std::size(values)) {
      state.PauseTiming();
      rewind();
      state.ResumeTiming();
      continue;
    }
    const double* value = values;
    const auto convert = [&value](auto& array) {
      for (auto& field : array) field = fieldFromRecord<std::remove_reference_t<decltype(field)>>(*value++);
    };
    convert(fields.floats);
    convert(fields.ints);
    convert(fields.longs);
    convert(fields.bytes);
    convert(fields.words);
    convert(fields.shorts);
    convert(fields.doubles);
    convert(fields.stamps);
    fields.flag = fieldFromRecord<bool>(*value);
    benchmark::DoNotOptimize(fields);
  }
  std::fclose(file);
}
BENCHMARK(plainRecord);

/// What the step of an event log costs whose next event is not due.
void eventNotDue(benchmark::State& state) {
  DataRegistry registry;
  registry.freeze();
  std::unique_ptr<LogFile::IReader> reader(LegacyReader::create(registry, LogFile::CONTENTS_EVENTS));
  reader->open(logs().events.c_str());
  for ([[maybe_unused]] auto iteration : state) {
    std::vector<int> events;
    benchmark::DoNotOptimize(reader->popSample(-1, events));
  }
}
BENCHMARK(eventNotDue);

void blackboxSample(benchmark::State& state) {
  Sensors sensors;
  readOverAndOver(state, logs().blackbox, [&sensors] { return TlmbReader::create(&sensors.registry); });
}
BENCHMARK(blackboxSample);

/// The limit of blackboxSample and stepWritten: the sample's bytes, copied.
void sampleCopied(benchmark::State& state) {
  Sensors sensors;
  const std::vector<unsigned char> from(blackboxlog::SamplePacker(sensors.producer).size());
  std::vector<unsigned char> to(from.size());
  for ([[maybe_unused]] auto iteration : state) {
    std::memcpy(to.data(), from.data(), from.size());
    benchmark::ClobberMemory();
  }
}
BENCHMARK(sampleCopied);

void stepWritten(benchmark::State& state) {
  Sensors sensors;
  blackboxlog::BlackboxWriter writer;
  writer.open("/dev/null", {});
  const int id = writer.addSection("navdata", sensors.producer.descriptions());
  const blackboxlog::SamplePacker packer(sensors.producer);
  std::vector<unsigned char> sample(packer.size());
  for ([[maybe_unused]] auto iteration : state) {
    packer.pack(sample.data());
    writer.sample(static_cast<unsigned int>(id), {}, sample.data(), sample.size());
  }
}
BENCHMARK(stepWritten);

}  // namespace
