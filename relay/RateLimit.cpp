#include "relay/RateLimit.h"

#include <algorithm>

namespace orvik::relay {

bool RateLimit::take(Instant now, double amount) {
  tokens = available(now);
  filled = now;
  if (amount > tokens) {
    return false;
  }
  tokens -= amount;
  return true;
}

double RateLimit::available(Instant now) const {
  const std::chrono::duration<double> passed = now - filled;
  return std::min(rate.burst, tokens + passed.count() * rate.perSecond);
}

}  // namespace orvik::relay
