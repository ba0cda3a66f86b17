#pragma once

#include <cstdint>
#include <optional>

#include "core/async/Clock.h"

namespace orvik {

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
