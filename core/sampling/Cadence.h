#pragma once

#include <optional>

#include "core/platform/Clock.h"

namespace orvik {

/// How often a group of readings is refreshed.
class Cadence {
 public:
  explicit constexpr Cadence(Clock::Duration interval) : interval(interval) {}

  /// Whether the last refresh is an interval ago, or there was none.
  [[nodiscard]] bool isDue(Instant now) const {
    return !refreshedAt || now - *refreshedAt >= interval;
  }
  void refreshed(Instant now) { refreshedAt = now; }

 private:
  Clock::Duration interval;
  std::optional<Instant> refreshedAt;
};

}  // namespace orvik
