#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace orvik::relay {

/// Where a phone's browser takes pushes, and what they are encrypted with (RFC 8030, 8291).
struct Subscription {
  /// An uncompressed point of P-256 ("p256dh").
  using Key = std::array<std::uint8_t, 65>;
  /// Shared by the phone and whoever pushes ("auth").
  using Secret = std::array<std::uint8_t, 16>;

  /// An https URL, which also names the subscription.
  std::string endpoint{};
  Key key{};
  Secret secret{};
  /// When the phone has last said it and that was noted, Unix seconds.
  std::int64_t usedAt = 0;

  /// Whether pushes to both go the same way.
  [[nodiscard]] bool isSameAs(const Subscription& other) const {
    return endpoint == other.endpoint && key == other.key && secret == other.secret;
  }
};

}  // namespace orvik::relay
