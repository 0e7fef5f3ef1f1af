#include "ostrel/ostrel.h"

#include <syslog.h>

#include <cerrno>
#include <optional>
#include <string>

#include "estimator.hpp"
#include "logservice/log.h"
#include "ostrel/data_manager.hpp"

namespace {

Dravon3::data_manager_record dataManager;
std::optional<Dravon3::Estimator> estimator;  // the instance; the record above outlives it
std::string hardwareVariant;

}  // namespace

namespace Dravon3 {

data_manager_record* data_manager() {
  return &dataManager;
}

Estimator* runningEstimator() {
  return estimator ? &*estimator : nullptr;
}

const std::string& runningVariant() {
  return hardwareVariant;
}

}  // namespace Dravon3

int OSTREL_new(const char* variant, const char* mode) {
  if (variant == nullptr || mode == nullptr) return -EINVAL;
  // One instance at a time, since there is one data manager.
  if (estimator) return -EEXIST;
  log_print("ostrel", LOG_DEBUG, "new instance for %s in mode %s", variant, mode);
  hardwareVariant = variant;
  dataManager = {};
  estimator.emplace();
  return 0;
}

int OSTREL_process(void) {
  if (!estimator) return -ENODEV;
  dataManager.outputs = estimator->step(dataManager.sensors);
  return 0;
}

void OSTREL_delete(void) {
  estimator.reset();
}
