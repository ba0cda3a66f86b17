#pragma once

#include <cstdint>
#include <optional>

#include "core/values/JSONValue.h"

namespace orvik {

/// What is remembered of an alert about an overdue backup, so that the same backup is not
/// announced again and again.
struct TimeMachineReminder {
  /// When the alert was raised, seconds since 1970.
  std::int64_t at = 0;
  /// The last backup that it was about, seconds since 1970.
  std::int64_t backup = 0;

  [[nodiscard]] JSONValue json() const;
  /// Nothing when this is not an object with both members as integers.
  [[nodiscard]] static std::optional<TimeMachineReminder> from(const JSONValue& json);

  bool operator==(const TimeMachineReminder&) const = default;
};

}  // namespace orvik
