#include "logfile/ApiCall.hpp"

double ApiCall::value(const std::string& name) const {
  for (const CallArgument& argument : arguments) {
    if (argument.name == name) return argument.value;
  }
  return 0.0;
}

std::string ApiCall::signature() const {
  std::string text = api + "(";
  const char* separator = "";
  for (const CallArgument& argument : arguments) {
    text += separator + argument.name;
    separator = ", ";
  }
  return text + ")";
}
