#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "core/async/Clock.h"

namespace orvik {

/// Where readers of the kernel's counters take the time from, right beside each counter. The
/// counters stand still while the machine sleeps, so this time has to do so too: it may not be
/// mixed with that of a Clock.
using MonotonicTime = std::function<Instant()>;

/// The system's time since it was started, without that of its sleep.
[[nodiscard]] Instant monotonicNow();

/// How long after a reading of counters another one is worth being taken: half a second is fifty
/// ticks of each CPU, a step of 2 %. After a reading that had none to compare with, a little less
/// is better than nothing.
[[nodiscard]] constexpr Clock::Duration shortestInterval(bool hasCompared) {
  return std::chrono::milliseconds(hasCompared ? 500 : 400);
}

/// How fast a counter of the kernel runs: energy in microjoules, idle time in milliseconds.
class CounterRate {
 public:
  /// What is faster than `fastest` (per second) is a counter that was set back or a fault.
  explicit CounterRate(double fastest) : fastest(fastest) {}

  /// The increase per second since the reading before; nothing at the first one, and when too much
  /// time has passed to know how often the counter has begun again. It begins again at 0 after
  /// `range`; with a range of 0 it never does.
  [[nodiscard]] std::optional<double> update(Instant now, std::int64_t value, std::int64_t range);

 private:
  struct Reading {
    Instant at;
    std::int64_t value;
  };
  double fastest;
  std::optional<Reading> previous;
};

}  // namespace orvik
