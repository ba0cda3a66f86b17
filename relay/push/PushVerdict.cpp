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
  // What the service asks for, but never at once.
  Clock::Duration wait = waitAfter(attempts, limits);
  if (answer.retryAfter) {
    wait = std::max<Clock::Duration>(std::min<Clock::Duration>(*answer.retryAfter, limits.pushAge),
                                     limits.pushRetry);
  }
  return attempts >= limits.pushAttempts || age + wait >= limits.pushAge
             ? failed(*failure)
             : PushVerdict{Kind::again, PushFailure::count, wait};
}

Clock::Duration PushVerdict::pauseOf(const PushAnswer& answer, const Limits& limits) {
  constexpr long serviceUnavailable = 503;
  return answer.status == serviceUnavailable
             ? std::min<Clock::Duration>(answer.retryAfter.value_or(std::chrono::seconds(0)),
                                         limits.pushAge)
             : Clock::Duration::zero();
}

Clock::Duration PushVerdict::waitAfter(int attempts, const Limits& limits) {
  Clock::Duration wait = limits.pushRetry;
  for (int i = 1; i < attempts; ++i) {
    wait *= 4;
  }
  return wait;
}

}  // namespace orvik::relay
