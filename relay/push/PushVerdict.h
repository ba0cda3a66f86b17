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
  /// Where there was no status: why, in the library's words.
  const char* trouble = "";
};

/// What becomes of the push.
struct PushVerdict {
  enum class Kind { sent, failed, again };
  Kind kind = Kind::sent;
  /// Of what has failed for good.
  PushFailure failure = PushFailure::count;
  /// Before the next attempt.
  Clock::Duration wait{};

  /// How long the whole service is to be left alone: what it asks for when it is out of order. By
  /// 429 it means the phone (RFC 8030, section 8.4).
  [[nodiscard]] static Clock::Duration pauseOf(const PushAnswer& answer, const Limits& limits);
  /// After so many attempts, this one among them, `age` after the alert's arrival.
  [[nodiscard]] static PushVerdict on(const PushAnswer& answer, int attempts, Clock::Duration age,
                                      const Limits& limits);
  /// Before the next attempt after so many that came to nothing: four times as long each time.
  [[nodiscard]] static Clock::Duration waitAfter(int attempts, const Limits& limits);

  bool operator==(const PushVerdict&) const = default;
};

}  // namespace orvik::relay
