// A sleep() a hundred times shorter than asked for, so that a soak gets somewhere.

#include <ctime>

extern "C" unsigned sleep(unsigned seconds) {
  constexpr long nanoseconds_a_second = 10'000'000;
  const timespec pause{seconds / 100, static_cast<long>(seconds % 100) * nanoseconds_a_second};
  return nanosleep(&pause, nullptr) == 0 ? 0 : seconds;
}
