#pragma once

#include <map>
#include <string>
#include <vector>

/// Stands in for the settings service, its event loop, the blackbox logger and the clock: shows what it is
/// asked, and answers as told. Time passes only while the event loop waits.
struct ServiceProbe {
  ServiceProbe();
  ServiceProbe(const ServiceProbe&) = delete;
  ServiceProbe& operator=(const ServiceProbe&) = delete;
  ~ServiceProbe();

  std::vector<std::string> takeCalls();

  std::vector<std::string> calls;
  std::map<std::string, int> results;  ///< by call; 0 where there is none
  int pending = 0;                     ///< answers under way
  long milliseconds = 0;
};
