#pragma once

#include <unistd.h>

#include <utility>

namespace logtool {

/// A descriptor that is closed with its owner.
class Descriptor {
 public:
  explicit Descriptor(int opened = -1) : number(opened) {}
  Descriptor(Descriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}
  Descriptor& operator=(Descriptor&&) = delete;
  ~Descriptor() { reset(); }
  void reset(int opened = -1) {
    if (number >= 0) close(number);
    number = opened;
  }
  int get() const { return number; }

 private:
  int number;
};

}  // namespace logtool
