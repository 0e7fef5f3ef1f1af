// The floor that the step rhythm sets: sleep_floor N sleeps N times for a microsecond, as a replay of N
// steps does, and nothing else.

#include <sys/prctl.h>
#include <unistd.h>

#include <cstdlib>

int main(int argc, char** argv) {
  prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
  const long steps = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 0;
  for (long i = 0; i < steps; ++i) usleep(1);
}
