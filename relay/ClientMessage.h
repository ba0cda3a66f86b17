#pragma once

#include <optional>
#include <string_view>

#include "relay/TokenHash.h"

namespace orvik::relay {

/// The token of {"auth":"TOKEN"}, hashed. Nothing when the text is anything else.
[[nodiscard]] std::optional<TokenHash> tokenIn(std::string_view message);

/// The value of {"active":true|false}. Nothing when the text is anything else.
[[nodiscard]] std::optional<bool> activeIn(std::string_view message);

/// Whether the text is an envelope that says it has an alert in it. The
/// envelope itself stays closed.
[[nodiscard]] bool isAlert(std::string_view message);

}  // namespace orvik::relay
