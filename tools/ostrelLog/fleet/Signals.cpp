#include "ostrelLog/fleet/Signals.hpp"

#include <csignal>

namespace logtool {

namespace {

constexpr int SIGNALS[] = {SIGHUP, SIGINT, SIGTERM};

volatile std::sig_atomic_t noted = 0;

void note(int number) {
  noted = number;
}

}  // namespace

void noteSignals() {
  for (const int number : SIGNALS) {
    struct sigaction action {};
    action.sa_handler = note;  // without SA_RESTART: a wait is to end
    struct sigaction before {};
    sigaction(number, &action, &before);
    if (before.sa_handler == SIG_IGN) sigaction(number, &before, nullptr);
  }
}

void obeySignals() {
  for (const int number : SIGNALS) {
    if (std::signal(number, SIG_DFL) == SIG_IGN) std::signal(number, SIG_IGN);
  }
  if (noted != 0) std::raise(noted);
}

int notedSignal() {
  return noted;
}

}  // namespace logtool
