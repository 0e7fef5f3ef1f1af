#include "ostrel/api_input.hpp"

#include <syslog.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <tuple>
#include <type_traits>
#include <utility>

#include "estimator.hpp"
#include "logservice/log.h"
#include "registry/DataRegistry.hpp"

namespace Api {

namespace {

using Dravon3::Estimator;

constexpr const char* LIBRARY_TAG = "ostrel";

/// What an API's entry points to. A replay finds the arguments through the second pointer.
struct ArgumentLink {
  const char* apiName;
  DataRegistry* arguments;
};
static_assert(std::is_standard_layout_v<ArgumentLink> &&
              offsetof(ArgumentLink, arguments) == sizeof(void*));

/// The arguments as "name=value, name=value".
std::string describe(const DataRegistry& arguments) {
  std::string text;
  for (DataEntryBase* entry : arguments.entryList) {
    std::array<char, 32> number;
    std::snprintf(number.data(), number.size(), "%.17g", entry->toRecordFormat());
    text.append(text.empty() ? "" : ", ").append(entry->name).append("=").append(number.data());
  }
  return text;
}

/// The call of one operation of the estimator, with an argument of each of its parameters' types.
template <class... Values>
class Call : public InputBase {
 public:
  using Operation = void (Estimator::*)(Values...);

  template <class... Names>
  Call(bool replayed, const char* apiName, Operation called, Names... argumentNames)
      : InputBase(apiName), allowed(replayed), operation(called) {
    static_assert(sizeof...(Names) == sizeof...(Values));
    // The registry keeps the addresses of the values, so that a reader writes the arguments directly.
    std::apply([&](Values&... value) { (arguments.reg(argumentNames, &value), ...); }, values);
    arguments.freeze();
  }

  void registerArgs(DataRegistry& registry) override {
    // Any registrable type would do: only the address of the link is used, never the value of the entry.
    registry.reg(name, reinterpret_cast<unsigned long*>(&link));
  }

  int apply() override {
    if (!allowed) return -EPERM;
    if (log_admits(LIBRARY_TAG, LOG_DEBUG) != 0) {
      log_print(LIBRARY_TAG, LOG_DEBUG, "call %s(%s)", name.c_str(), describe(arguments).c_str());
    }
    Estimator* const estimator = Dravon3::runningEstimator();
    if (estimator == nullptr) return -ENODEV;
    // Counted before the call, so that also a call without effect shows in the outputs.
    estimator->countCall();
    std::apply(operation, std::tuple_cat(std::make_tuple(estimator), values));
    return 0;
  }

 private:
  bool allowed;
  Operation operation;
  std::tuple<Values...> values{};
  DataRegistry arguments;  // its entries point into `values`
  ArgumentLink link = {name.c_str(), &arguments};
};

template <class... Values, class... Names>
std::unique_ptr<InputBase> makeCall(bool replayed, const char* apiName,
                                    void (Estimator::*operation)(Values...), Names... argumentNames) {
  return std::make_unique<Call<Values...>>(replayed, apiName, operation, argumentNames...);
}

}  // namespace

InputBase::InputBase(std::string apiName) : name(std::move(apiName)) {}

InputBase::~InputBase() = default;

Input::Input(bool replayed) {
  // The order of this list does not matter, because APIs are found by name.
  const auto add = [&](const char* apiName, auto operation, auto... argumentNames) {
    owned.push_back(makeCall(replayed, apiName, operation, argumentNames...));
    inputs.push_back(owned.back().get());
  };
  add("set_motors_armed", &Estimator::setMotorsArmed, "armed");
  add("take_off", &Estimator::takeOff, "altitude");
  add("land", &Estimator::land);
  add("set_velocity", &Estimator::setVelocity, "vx", "vy", "vz", "yaw_rate");
  add("set_home", &Estimator::setHome, "amsl_altitude", "latitude", "longitude");
  add("emergency_cut", &Estimator::emergencyCut);
  add("set_follow_me", &Estimator::setFollowMe, "distance", "trajectory");
}

Input::~Input() = default;

}  // namespace Api
