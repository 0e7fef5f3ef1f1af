#pragma once

#include <string>
#include <vector>

/// The value of one argument of a call, by the argument's name.
struct CallArgument {
  std::string name;
  double value;
};

/// One call of the flight-control library's API.
struct ApiCall {
  int step;         ///< replay step at which the call is made
  std::string api;  ///< the API's name
  std::vector<CallArgument> arguments;

  /// The value given for an argument; 0 when the call names no such argument.
  double value(const std::string& name) const;

  /// The call as a person writes it, such as "set_follow_me(distance, trajectory)".
  std::string signature() const;
};
