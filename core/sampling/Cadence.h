#pragma once

#include <algorithm>
#include <optional>

#include "core/async/Clock.h"

namespace orvik {

/// How often a group of readings is refreshed.
class Cadence {
 public:
  explicit constexpr Cadence(Clock::Duration interval) : interval(interval) {}

  /// Whether the last refresh began an interval ago, or there was none. One that took long is
  /// followed by a rest of the same length, so that half of the time at most goes into it.
  [[nodiscard]] bool isDue(Instant now) const { return !dueAt || now >= *dueAt; }
  void refreshed(Instant began, Instant ended) {
    dueAt = std::max(began + interval, ended + (ended - began));
  }

 private:
  Clock::Duration interval;
  std::optional<Instant> dueAt;
};

}  // namespace orvik
