#include <array>
#include <cerrno>
#include <memory>

#include "LegacyInput.hpp"
#include "Support.hpp"
#include "logfile/LegacyReader.hpp"
#include "ostrel/data_manager.hpp"
#include "ostrel/ostrel.h"
#include "registry/Introspect.hpp"

namespace {

/// The sensor record and its registry, as a replay sets them up.
struct Vehicle {
  Vehicle() {
    introspect<sensors_data, Registrator>(registrator, sensors, "inputs.sensors");
    registry.reg("index", &index);
    registry.freeze();
    // Between them these two values set a bit in every byte of each field, whatever its type.
    for (double probe : {-1.0, 0.1}) {
      for (DataEntryBase* entry : registry.entryList) entry->fromRecord(probe);
      for (std::size_t i = 0; i < covered.size(); ++i) covered[i] = covered[i] || image()[i] != 0;
    }
    REQUIRE(OSTREL_new("quad-x", "1") == 0);
  }

  unsigned char* image() { return reinterpret_cast<unsigned char*>(&sensors); }

  void requireUncoveredZero() {
    for (std::size_t i = 0; i < covered.size(); ++i) REQUIRE(covered[i] || image()[i] == 0);
  }

  sensors_data sensors{};
  int index = 0;
  DataRegistry registry;
  Registrator registrator{registry};
  std::array<bool, sizeof(sensors_data)> covered{};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static Vehicle vehicle;
  std::memset(vehicle.image(), 0, sizeof(sensors_data));
  std::unique_ptr<LogFile::IReader> reader(
      LegacyReader::create(vehicle.registry, LogFile::CONTENTS_CONTINUOUS));
  const std::string& path = inputFile(bytes, size);
  if (!hasUsableHeader<ContinuousFormat>(path)) return 0;  // the reader would end the process
  REQUIRE(reader->open(path.c_str()) == 0);
  std::size_t samples = 0;
  int result = 0;
  while ((result = reader->popSample()) == 0) {
    REQUIRE(++samples <= size / sizeof(double));
    delivered().emplace_back(reinterpret_cast<const char*>(vehicle.image()), sizeof(sensors_data));
    delivered().back() += std::to_string(vehicle.index);
    std::memcpy(Dravon3::data_manager()->sensors, &vehicle.sensors, sizeof(sensors_data));
    REQUIRE(OSTREL_process() == 0);
  }
  REQUIRE(result == -ENODATA);
  vehicle.requireUncoveredZero();
  const sensors_data last = vehicle.sensors;
  for (int i = 0; i < 3; ++i) REQUIRE(reader->popSample() == -ENODATA);
  REQUIRE(std::memcmp(&last, &vehicle.sensors, sizeof(last)) == 0);
  std::vector<int> events;
  REQUIRE(reader->popSample(0, events) == -EINVAL);
  REQUIRE(reader->close() == 0);
  return 0;
}
