#pragma once

#include "core/alerts/MinuteHistory.h"
#include "core/values/JSONValue.h"

namespace orvik::bench {

/// A live sample of a laptop with its usual company, some 4 KiB as text.
[[nodiscard]] JSONValue liveSample();

/// The epoch second at which a day's history is complete: 1439 minutes are reported.
inline constexpr std::int64_t dayEnd = 1'800'086'400;

/// A day of samples with all three readings.
[[nodiscard]] MinuteHistory dayOfMinutes();

/// What is reported of it.
[[nodiscard]] JSONValue fullHistory();

}  // namespace orvik::bench
