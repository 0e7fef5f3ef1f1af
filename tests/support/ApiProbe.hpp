#pragma once

#include <deque>
#include <map>
#include <string>
#include <vector>

#include "registry/DataRegistry.hpp"

/// The event registry of a library whose APIs take doubles, bound the way the flight-control library binds
/// its own: each API's entry to an object whose second pointer-sized field points to the argument registry.
class ApiProbe {
 public:
  using Apis = std::map<std::string, std::vector<std::string>>;  ///< argument names by API name

  explicit ApiProbe(const Apis& apis) {
    for (const auto& [name, argumentNames] : apis) {
      Api& api = byName[name];
      api.link = {nullptr, &api.registry};
      for (const std::string& argument : argumentNames) {
        api.registry.reg<double>(argument, &api.storage.emplace_back(0.0));
      }
      api.registry.freeze();
      registry.reg<unsigned long>(name, reinterpret_cast<unsigned long*>(&api.link));
    }
    registry.freeze();
  }

  /// What the API's arguments hold, in name order.
  std::vector<double> arguments(const std::string& name) {
    std::vector<double> held;
    for (DataEntryBase* entry : byName.at(name).registry.entryList) held.push_back(entry->toRecordFormat());
    return held;
  }

  DataRegistry registry;

 private:
  struct Link {
    void* unused;
    DataRegistry* arguments;
  };
  struct Api {
    Link link;
    DataRegistry registry;
    std::deque<double> storage;
  };
  std::map<std::string, Api> byName;
};
