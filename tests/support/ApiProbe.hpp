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
      for (const auto& argument : argumentNames) api.entries.reg(argument, &api.fields.emplace_back(0.0));
      api.entries.freeze();
      registry.reg(name, reinterpret_cast<unsigned long*>(&api));
    }
    registry.freeze();
  }

  /// What the API's arguments hold, in name order.
  std::vector<double> arguments(const std::string& name) {
    const std::deque<double>& held = byName.at(name).fields;
    return {held.begin(), held.end()};
  }

  DataRegistry registry;

 private:
  struct Api {
    void* unused = nullptr;
    DataRegistry* arguments = &entries;
    DataRegistry entries;
    std::deque<double> fields;
  };
  std::map<std::string, Api> byName;
};
