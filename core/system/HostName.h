#pragma once

#include <optional>
#include <string>

namespace orvik {

/// The computer's name as its user knows it: valid UTF-8 without control characters, from 1 to 200
/// bytes. Nothing when the system gives none. Never waits for a service.
[[nodiscard]] std::optional<std::string> localizedHostName();

}  // namespace orvik
