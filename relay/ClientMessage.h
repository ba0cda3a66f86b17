#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "relay/TokenHash.h"

namespace orvik::relay {

/// What {"auth":"TOKEN"} says.
struct Authentication {
  TokenHash token;
  /// The "last" of a phone that counts alerts. One that is no number of an alert is none.
  std::optional<std::uint64_t> last;

  /// Nothing when the text is anything else.
  [[nodiscard]] static std::optional<Authentication> in(std::string_view message);
};

/// The value of {"active":true|false}. Nothing when the text is anything else.
[[nodiscard]] std::optional<bool> activeIn(std::string_view message);

/// Whether the text is an envelope that says it has an alert in it. The
/// envelope itself stays closed.
[[nodiscard]] bool isAlert(std::string_view message);

/// Whether the text is {"revoked":true}.
[[nodiscard]] bool isRevocation(std::string_view message);

}  // namespace orvik::relay
