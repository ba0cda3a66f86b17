#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace orvik {

/// How many phones are connected for this computer, and how many of them show it right now.
struct Presence {
  std::int64_t viewers = 0;
  std::int64_t active = 0;
  bool operator==(const Presence&) const = default;

  /// What the relay says in a presence message; nothing when the text is none, or counts fewer
  /// than no viewers. Without "active" every viewer counts as active; there are never more active
  /// phones than viewers, and never fewer than none.
  [[nodiscard]] static std::optional<Presence> fromRelay(std::string_view text);
};

/// How many alerts of this connection a relay calls safe; nothing when the text says nothing of it.
[[nodiscard]] std::optional<std::uint64_t> safeAlertsFromRelay(std::string_view text);

/// Whether the text says that the relay pushes alerts to phones.
[[nodiscard]] bool saysThatItPushes(std::string_view text);

}  // namespace orvik
