#pragma once

#include <algorithm>
#include <chrono>

namespace orvik {

/// How long to wait before the next attempt to connect: 1, 2, 4 … 60 seconds, from 1 again after
/// a connection that was accepted.
class BackOff {
 public:
  /// The wait after a connection, or an attempt, has ended.
  [[nodiscard]] std::chrono::seconds next(bool wasAccepted) {
    const std::chrono::seconds wait = wasAccepted ? first : delay;
    delay = std::min(2 * wait, longest);
    return wait;
  }

  /// What the first wait becomes when a relay that goes has closed all its connections at once, so
  /// that they do not all come back at once: up to twice as long, by a `chance` from 0 to 1.
  [[nodiscard]] static std::chrono::nanoseconds spread(std::chrono::seconds wait, double chance) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(wait * (1 + chance));
  }

 private:
  static constexpr std::chrono::seconds first{1};
  static constexpr std::chrono::seconds longest{60};
  std::chrono::seconds delay = first;
};

}  // namespace orvik
