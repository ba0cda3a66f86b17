#include "core/sampling/linux/CounterRate.h"

#include <chrono>
#include <ctime>
#include <utility>

namespace orvik {

Instant monotonicNow() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return Instant(std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec));
}

namespace {

using Seconds = std::chrono::duration<double>;

/// The energy counter of a server's memory, one of the shortest, begins again after 3 minutes at
/// 350 W.
constexpr Seconds longestGap(120);

}  // namespace

std::optional<double> CounterRate::update(Instant now, std::int64_t value, std::int64_t range) {
  if (value < 0) {
    return std::nullopt;
  }
  const auto before = std::exchange(previous, Reading{now, value});
  if (!before) {
    return std::nullopt;
  }
  const Seconds elapsed = now - before->at;
  auto increase = static_cast<double>(value) - static_cast<double>(before->value);
  if (increase < 0) {
    increase += static_cast<double>(range);
  }
  if (elapsed <= Seconds(0) || elapsed > longestGap || increase < 0 ||
      increase > fastest * elapsed.count()) {
    return std::nullopt;
  }
  return increase / elapsed.count();
}

}  // namespace orvik
