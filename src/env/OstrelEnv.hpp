#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "logfile/LogFile.hpp"
#include "logfile/ReplayData.hpp"
#include "ostrel/api_input.hpp"
#include "registry/Introspect.hpp"
#include "registry/SensorRecords.hpp"

/// The event log's reader, and the API inputs that its event numbers select.
struct ReplayEvents {
  ReplayEvents() = default;
  ReplayEvents(const ReplayEvents&) = delete;
  ReplayEvents& operator=(const ReplayEvents&) = delete;
  /// Closes the reader, then destroys it; the inputs are not touched.
  ~ReplayEvents();

  std::unique_ptr<LogFile::IReader> reader;
  std::vector<Api::InputBase*> inputs;                  ///< by event number, in name order; not owned
  std::map<std::string, Api::InputBase*> inputsByName;  ///< the first input of each name; not owned
};

/// The flight-control library's surroundings in a replay: the sensor record, both logs, the API inputs and
/// the library's one instance. At most one exists at a time.
///
/// Construction ends the process with exit status 1, after a line at error priority, when anything is
/// missing; a constructed environment is complete.
class OstrelEnv {
 public:
  /// `droneName` may be empty: the variant then comes from the continuous log, the event log or the
  /// property "ro.hardware", the first that has one.
  OstrelEnv(const std::string& droneName, const std::string& droneMode, const std::string& contBboxPath,
            const std::string& eventBboxPath);
  OstrelEnv(const OstrelEnv&) = delete;
  OstrelEnv& operator=(const OstrelEnv&) = delete;
  ~OstrelEnv();

  sensors_data sensors{};                ///< what the continuous log's reader fills, sample by sample
  DataRegistry sensorRegistry;           ///< the fields of `sensors`, and "index"
  Registrator registrator;               ///< bound to `sensorRegistry`
  DataRegistry eventRegistry;            ///< one entry per API input, named after the API
  std::unique_ptr<Api::Input> apiInput;  ///< owns every input
  std::unique_ptr<ReplayData> data;      ///< the continuous log
  std::unique_ptr<ReplayEvents> events;  ///< the event log

 private:
  void openEvents(const std::string& eventBboxPath);
  std::string settleVariant(const std::string& droneName) const;
};
