#include "relay/push/PushVerdict.h"

#include <algorithm>

namespace orvik::relay {

namespace {

/// What may go otherwise the next time.
std::optional<PushFailure> passing(long status) {
  constexpr long tooManyRequests = 429;
  return status == 0                 ? std::optional(PushFailure::noAnswer)
         : status == tooManyRequests ? std::optional(PushFailure::busy)
         : status >= 500             ? std::optional(PushFailure::serviceError)
                                     : std::nullopt;
}

}  // namespace

PushVerdict PushVerdict::on(const PushAnswer& answer, int attempts, Clock::Duration age,
                            const Limits& limits) {
  const auto failed = [](PushFailure failure) { return PushVerdict{Kind::failed, failure}; };
  if (answer.isForbidden) {
    return failed(PushFailure::forbiddenAddress);
  }
  if (answer.status >= 200 && answer.status < 300) {
    return {};
  }
  if (answer.status == 404 || answer.status == 410) {
    return failed(PushFailure::gone);
  }
  const std::optional<PushFailure> failure = passing(answer.status);
  if (!failure) {
    return failed(PushFailure::refused);
  }
  // Four times as long after each attempt, or what the service asks for, but never at once.
  Clock::Duration wait = limits.pushRetry;
  for (int i = 1; i < attempts; ++i) {
    wait *= 4;
  }
  if (answer.retryAfter) {
    wait = std::max<Clock::Duration>(std::min<Clock::Duration>(*answer.retryAfter, limits.pushAge),
                                     limits.pushRetry);
  }
  return attempts >= limits.pushAttempts || age + wait >= limits.pushAge
             ? failed(*failure)
             : PushVerdict{Kind::again, PushFailure::count, wait};
}

}  // namespace orvik::relay
