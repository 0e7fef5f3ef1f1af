#pragma once

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string>

#include "estimator.hpp"

/// What the changed library does in flights of certain variants.
inline void misbehave(const std::string& variant, Dravon3::Estimator& estimator) {
  if (variant == "crash") std::raise(SIGKILL);
  while (variant == "hang") pause();
  // Another result in every process.
  if (variant == "random") estimator.setHome(getpid(), 0, 0);
}
