#include "ostrelLog/fleet/Signals.hpp"

#include <csignal>
#include <initializer_list>

namespace logtool {

namespace {

volatile std::sig_atomic_t noted = 0;

void note(int number) {
  noted = number;
}

}  // namespace

void noteSignals() {
  for (const int number : {SIGHUP, SIGINT, SIGTERM}) {
    struct sigaction action {};
    action.sa_handler = note;  // without SA_RESTART: a wait is to end
    struct sigaction before {};
    sigaction(number, &action, &before);
    if (before.sa_handler == SIG_IGN) sigaction(number, &before, nullptr);
  }
}

int notedSignal() {
  return noted;
}

}  // namespace logtool
