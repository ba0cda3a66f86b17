#pragma once

#include <string>
#include <vector>

#include "core/async/Clock.h"

namespace orvik::relay {

/// A certificate and its private key, both PEM.
struct SelfSigned {
  std::string certificate;
  std::string key;

  /// Apple's systems refuse server certificates that are valid for more than 398 days.
  static constexpr std::chrono::days lifetime{397};

  /// How far clocks may be behind the relay's: a day, as a wrong date makes it, and an hour for the
  /// time zone that was meant.
  static constexpr std::chrono::hours clockTolerance{25};

  /// Makes a server certificate for an EC P-256 key, valid from `clockTolerance` before `now`.
  /// `names` are host names and IP addresses; throws std::invalid_argument for
  /// anything else, std::runtime_error when OpenSSL fails.
  [[nodiscard]] static SelfSigned make(const std::vector<std::string>& names, Clock::UnixTime now);
};

/// Whether the text may be a host name: letters, digits, inner hyphens and dots (RFC 1123).
[[nodiscard]] bool isHostName(std::string_view text);

}  // namespace orvik::relay
