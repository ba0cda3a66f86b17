#pragma once

#include <optional>
#include <string>

namespace orvik {

/// The computer's name as its user knows it: valid UTF-8, not empty. Nothing when the system gives
/// none.
[[nodiscard]] std::optional<std::string> localizedHostName();

}  // namespace orvik
