#include "core/sampling/linux/MonotonicTime.h"

#include <ctime>

namespace orvik {

Instant monotonicNow() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return Instant(std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec));
}

}  // namespace orvik
