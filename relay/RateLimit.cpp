#include "relay/RateLimit.h"

#include <algorithm>

namespace orvik::relay {

bool RateLimit::take(Instant now, double amount) {
  const std::chrono::duration<double> passed = now - filled;
  tokens = std::min(rate.burst, tokens + passed.count() * rate.perSecond);
  filled = now;
  if (amount > tokens) {
    return false;
  }
  tokens -= amount;
  return true;
}

}  // namespace orvik::relay
