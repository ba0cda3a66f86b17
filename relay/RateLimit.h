#pragma once

#include "core/async/Clock.h"

namespace orvik::relay {

/// How much is let through: `burst` at once, `perSecond` over time.
struct Rate {
  double perSecond;
  double burst;
};

/// A token bucket, full at first.
class RateLimit {
 public:
  RateLimit(Rate rate, Instant now) : rate(rate), tokens(rate.burst), filled(now) {}

  /// Takes `amount` tokens and says whether there were enough; takes none when there were not.
  [[nodiscard]] bool take(Instant now, double amount = 1);
  /// How many tokens could be taken.
  [[nodiscard]] double available(Instant now) const;
  /// Whether as much may be taken as at first.
  [[nodiscard]] bool isFull(Instant now) const { return available(now) >= rate.burst; }

 private:
  Rate rate;
  double tokens;
  Instant filled;
};

}  // namespace orvik::relay
