#include "ostrel/log_tlmb.h"

#include <cerrno>
#include <memory>
#include <string>

#include "blackboxlog/logging_service.hpp"
#include "estimator.hpp"
#include "ostrel/data_manager.hpp"
#include "registry/DataRegistry.hpp"
#include "registry/Introspect.hpp"
#include "telemetry/producer.hpp"

namespace {

/// Everything that is published under one name.
class Publication {
 public:
  Publication(const std::string& section, const std::string& variant)
      : producer(section), service({{"ro.hardware", variant}}) {
    Dravon3::data_manager_record& record = *Dravon3::data_manager();
    Registrator registrator(registry);
    // The record's head is the image of a sensors_data; it is published byte by byte, never read as one
    // here.
    introspect(registrator, *reinterpret_cast<sensors_data*>(record.sensors), "inputs.sensors");
    registry.reg("index", &index);
    registerOutputs(record.outputs);
    registry.freeze();
    for (DataEntryBase* entry : registry.entryList) entry->registerToTlm(producer);
  }

  int put(const timespec& time) {
    // The count is already that of the steps run, and the index starts at 0.
    index = Dravon3::data_manager()->outputs.step_count - 1;
    return service.put(producer, time);
  }

  int close() { return service.close(); }

 private:
  void registerOutputs(Dravon3::estimator_outputs& outputs) {
    registry.reg("outputs.step_count", &outputs.step_count);
    registry.reg("outputs.call_count", &outputs.call_count);
    registry.reg("outputs.state", &outputs.state);
    registry.reg("outputs.armed", &outputs.armed);
    registry.reg("outputs.follow_trajectory", &outputs.follow_trajectory);
    registry.reg("outputs.follow_distance", &outputs.follow_distance);
    registerArray("outputs.attitude", outputs.attitude);
    registry.reg("outputs.vertical_position", &outputs.vertical_position);
    registry.reg("outputs.vertical_speed", &outputs.vertical_speed);
    registry.reg("outputs.take_off_altitude", &outputs.take_off_altitude);
    registerArray("outputs.velocity_setpoint", outputs.velocity_setpoint);
    registry.reg("outputs.yaw_rate_setpoint", &outputs.yaw_rate_setpoint);
    registerArray("outputs.home", outputs.home);
  }

  template <class T, std::size_t length>
  void registerArray(const std::string& name, T (&array)[length]) {
    for (std::size_t i = 0; i < length; ++i) {
      registry.reg(name + "[" + std::to_string(i) + "]", &array[i]);
    }
  }

  int index = 0;
  DataRegistry registry;
  telemetry::Producer producer;
  blackboxlog::LoggingService service;
};

// One at a time, as the interface has no handle.
std::unique_ptr<Publication> publication;

}  // namespace

int ostrel_log_tlmb_init(const char* name, int /*capacity*/, int /*rate*/) {
  if (name == nullptr) return -EINVAL;
  if (Dravon3::runningEstimator() == nullptr) return -ENODEV;
  if (publication) return -EALREADY;
  publication = std::make_unique<Publication>(name, Dravon3::runningVariant());
  return 0;
}

int ostrel_log_tlmb_put(const struct timespec* time) {
  if (time == nullptr) return -EINVAL;
  if (!publication) return -ENODEV;
  return publication->put(*time);
}

int ostrel_log_tlmb_cleanup(void) {
  if (!publication) return 0;
  const int result = publication->close();
  publication.reset();
  return result;
}
