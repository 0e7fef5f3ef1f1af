#include "env/OstrelEnv.hpp"

#include <syslog.h>

#include <cstdlib>
#include <cstring>

#include "logfile/ErrorText.hpp"
#include "logfile/LegacyReader.hpp"
#include "logfile/LoadedLibrary.hpp"
#include "logservice/log.h"
#include "ostrel/data_manager.hpp"
#include "ostrel/ostrel.h"
#include "registry/LogTag.hpp"
#include "sysprop/sys_prop.h"

ReplayEvents::~ReplayEvents() {
  if (!reader) return;
  reader->close();
  reader.reset();
}

OstrelEnv::OstrelEnv(const std::string& droneName, const std::string& droneMode,
                     const std::string& contBboxPath, const std::string& eventBboxPath)
    : registrator(sensorRegistry) {
  // Padding is part of the image that the library gets, and value-initialisation need not reach it.
  std::memset(&sensors, 0, sizeof(sensors));
  // The fields are registered before the log is opened, because opening it binds its columns to them.
  introspect<sensors_data, Registrator>(registrator, sensors, "inputs.sensors");
  data = std::make_unique<ReplayData>(contBboxPath, sensorRegistry, LogFile::CONTENTS_CONTINUOUS);

  // "true" allows the inputs to make their calls; without it they only describe the API.
  apiInput = std::make_unique<Api::Input>(true);
  for (Api::InputBase* input : *apiInput) input->registerArgs(eventRegistry);
  openEvents(eventBboxPath);

  // Last, since the variant may come from either log, and both are open now.
  OSTREL_new(settleVariant(droneName).c_str(), droneMode.c_str());
  // By a function that needs no instance; one that a preloaded library watches would name that library.
  const std::string library = loadedLibrary(reinterpret_cast<void*>(&Dravon3::data_manager));
  log_print(LOG_TAG, LOG_DEBUG, "Flight-control library : %s", library.c_str());
}

void OstrelEnv::openEvents(const std::string& eventBboxPath) {
  events = std::make_unique<ReplayEvents>();
  eventRegistry.freeze();
  events->reader.reset(LegacyReader::create(eventRegistry, LogFile::CONTENTS_EVENTS));
  if (!events->reader) {
    log_print(LOG_TAG, LOG_ERR, "Reader could not be created");
    std::exit(EXIT_FAILURE);
  }
  const int result = events->reader->open(eventBboxPath.c_str());
  if (result < 0) {
    log_print(LOG_TAG, LOG_ERR, "Could not open %s : %s", eventBboxPath.c_str(), errorText(result));
    std::exit(EXIT_FAILURE);
  }
  // Name order is the order of `eventRegistry.entryList`, whose positions the reader reports.
  for (Api::InputBase* input : *apiInput) events->inputsByName.emplace(input->name, input);
  for (const auto& [name, input] : events->inputsByName) events->inputs.push_back(input);
}

/// The hardware variant. Each choice is logged at error priority, so that every log of a replay tells it.
std::string OstrelEnv::settleVariant(const std::string& droneName) const {
  if (!droneName.empty()) {
    log_print(LOG_TAG, LOG_ERR, "Using droneVariant given in args : %s", droneName.c_str());
    return droneName;
  }
  if (!data->reader->droneVariant.empty()) {
    log_print(LOG_TAG, LOG_ERR, "droneVariant found in Data file : %s", data->reader->droneVariant.c_str());
    return data->reader->droneVariant;
  }
  if (!events->reader->droneVariant.empty()) {
    log_print(LOG_TAG, LOG_ERR, "droneVariant found in Event file : %s",
              events->reader->droneVariant.c_str());
    return events->reader->droneVariant;
  }
  char property[SYS_PROP_VALUE_MAX] = {};
  // Only an empty property counts as no variant; a store that fails has filled in the default.
  if (sys_prop_get("ro.hardware", property, "") == 0) {
    log_print(
        LOG_TAG, LOG_ERR,
        "No drones variant found in log file and in properties,please give your variant with -d VARIANT");
    std::exit(EXIT_FAILURE);
  }
  log_print(LOG_TAG, LOG_ERR, "droneVariant found from system properties : %s", property);
  return property;
}

OstrelEnv::~OstrelEnv() {
  // The library is deleted first, while everything that it may still look at exists.
  OSTREL_delete();
  // The inputs are destroyed before the readers that were bound to their arguments. That is safe, since a
  // reader uses no argument while it closes.
  apiInput.reset();
  data.reset();
  events.reset();
}
