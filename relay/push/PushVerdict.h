#pragma once

#include <chrono>
#include <optional>

#include "core/async/Clock.h"
#include "relay/Limits.h"
#include "relay/push/PushState.h"

namespace orvik::relay {

/// How an attempt to push has ended.
struct PushAnswer {
  /// Of HTTP; 0 where there was none.
  long status = 0;
  /// How long the service asks to be left alone.
  std::optional<std::chrono::seconds> retryAfter{};
  /// The name of the service led to an address that is not one of the internet.
  bool isForbidden = false;
};

/// What becomes of the push.
struct PushVerdict {
  enum class Kind { sent, failed, again };
  Kind kind = Kind::sent;
  /// Of what has failed for good.
  PushFailure failure = PushFailure::count;
  /// Before the next attempt.
  Clock::Duration wait{};

  /// After so many attempts, this one among them, `age` after the alert's arrival.
  [[nodiscard]] static PushVerdict on(const PushAnswer& answer, int attempts, Clock::Duration age,
                                      const Limits& limits);

  bool operator==(const PushVerdict&) const = default;
};

}  // namespace orvik::relay
