#include <cerrno>
#include <limits>
#include <map>
#include <memory>

#include "LegacyInput.hpp"
#include "Support.hpp"
#include "logfile/LegacyReader.hpp"
#include "ostrel/api_input.hpp"
#include "ostrel/ostrel.h"

namespace {

/// The library's calls and their registry, as a replay sets them up.
struct Library {
  Library() {
    for (Api::InputBase* input : inputs) {
      input->registerArgs(registry);
      byName.emplace(input->name, input);
    }
    registry.freeze();
    for (const auto& [name, input] : byName) byPosition.push_back(input);
    REQUIRE(OSTREL_new("quad-x", "1") == 0);
  }

  Api::Input inputs{true};
  DataRegistry registry;
  std::map<std::string, Api::InputBase*> byName;
  std::vector<Api::InputBase*> byPosition;  ///< as the registry lists them
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static Library library;
  std::unique_ptr<LogFile::IReader> reader(
      LegacyReader::create(library.registry, LogFile::CONTENTS_EVENTS));
  const std::string& path = inputFile(bytes, size);
  if (!hasUsableHeader<EventFormat>(path)) return 0;  // the reader would end the process
  REQUIRE(reader->open(path.c_str()) == 0);
  std::size_t calls = 0;
  bool ended = false;
  // Small steps, then strides that leave nothing undue at the end.
  for (std::int64_t step = -2; step <= std::numeric_limits<int>::max(); step += step < 32 ? 1 : step) {
    std::vector<int> events = {7};
    const int result = reader->popSample(static_cast<int>(step), events);
    REQUIRE(result == -ENODATA || (result == -EAGAIN && events.empty()) ||
            (result > 0 && events.size() == static_cast<std::size_t>(result)));
    REQUIRE(!ended || (result == -ENODATA && events.empty()));
    ended = result == -ENODATA;
    calls += events.size();
    for (const int event : events) {
      REQUIRE(library.byPosition.at(static_cast<std::size_t>(event))->apply() == 0);
      delivered().back() += '\t' + std::to_string(step);
    }
    REQUIRE(OSTREL_process() == 0);
  }
  std::vector<int> events;
  for (int i = 0; i < 2; ++i) {
    REQUIRE(reader->popSample(std::numeric_limits<int>::max(), events) == -ENODATA);
    calls += events.size();
  }
  REQUIRE(events.empty() && calls <= size / 24);
  REQUIRE(reader->popSample() == -EINVAL);
  REQUIRE(reader->close() == 0);
  return 0;
}
