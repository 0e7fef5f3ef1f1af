#include "replay/Interruption.hpp"

#include <csignal>

namespace {

constexpr int SIGNALS[] = {SIGHUP, SIGINT, SIGTERM};

volatile std::sig_atomic_t received = 0;

/// Makes `handler` that of every signal that is not ignored.
void handleBy(void (*handler)(int)) {
  for (const int signalNumber : SIGNALS) {
    if (std::signal(signalNumber, handler) == SIG_IGN) std::signal(signalNumber, SIG_IGN);
  }
}

void note(int signalNumber) {
  received = signalNumber;
  handleBy(SIG_DFL);
}

}  // namespace

void Interruption::watch() {
  handleBy(note);
}

int Interruption::signal() {
  return received;
}

void Interruption::raise(int signalNumber) {
  std::signal(signalNumber, SIG_DFL);
  std::raise(signalNumber);
}
