#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "relay/Limits.h"
#include "relay/RecordStore.h"

namespace orvik::relay {

/// A record as relays leave it for each other: one JSON text.
struct StoredRecord {
  Record record;
  /// When it was used last and that was noted, Unix seconds.
  std::int64_t usedAt = 0;

  /// Nothing when the text is anything else, or of a later version. Alerts and subscriptions that
  /// are none are left out.
  [[nodiscard]] static std::optional<StoredRecord> in(std::string_view text, const Limits& limits);
  [[nodiscard]] std::string text() const;
};

}  // namespace orvik::relay
