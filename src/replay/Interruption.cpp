#include "replay/Interruption.hpp"

#include <csignal>

namespace {

constexpr int SIGNALS[] = {SIGHUP, SIGINT, SIGTERM};

// Of the type that a signal handler may write; 0 while no signal has come.
volatile std::sig_atomic_t received = 0;
// How many more signals are noted before one ends the process.
volatile std::sig_atomic_t left = 0;

/// Makes `handler` that of every signal that is not ignored.
void handleBy(void (*handler)(int)) {
  for (const int signalNumber : SIGNALS) {
    // std::signal() can't only ask, so the handler is set first and taken back if the signal was ignored.
    if (std::signal(signalNumber, handler) == SIG_IGN) std::signal(signalNumber, SIG_IGN);
  }
}

/// The signal handler: takes a note for the replay loop, which ends after the step under way.
void note(int signalNumber) {
  received = signalNumber;
  left = left - 1;
  // The next one ends the process at once, in case the end of the replay itself hangs.
  if (left == 0) handleBy(SIG_DFL);
}

}  // namespace

void Interruption::watch() {
  left = 1;
  handleBy(note);
}

void Interruption::watchEnd() {
  left = received != 0 ? 1 : 2;
  handleBy(note);
}

int Interruption::signal() {
  return received;
}

void Interruption::raise(int signalNumber) {
  // By the default action, so that a shell reports that the signal ended the process.
  std::signal(signalNumber, SIG_DFL);
  std::raise(signalNumber);
}
