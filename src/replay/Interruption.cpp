#include "replay/Interruption.hpp"

#include <csignal>
#include <initializer_list>

namespace {

volatile std::sig_atomic_t received = 0;

void note(int signalNumber) {
  received = signalNumber;
  std::signal(SIGINT, SIG_DFL);
  std::signal(SIGTERM, SIG_DFL);
}

}  // namespace

void Interruption::watch() {
  for (const int signalNumber : {SIGINT, SIGTERM}) {
    if (std::signal(signalNumber, note) == SIG_IGN) std::signal(signalNumber, SIG_IGN);
  }
}

int Interruption::signal() {
  return received;
}

void Interruption::raise(int signalNumber) {
  std::signal(signalNumber, SIG_DFL);
  std::raise(signalNumber);
}
