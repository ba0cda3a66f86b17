#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orvik {

/// The computer's name as its user knows it, if it is presentable. Nothing when the system gives
/// none. Never waits for a service.
[[nodiscard]] std::optional<std::string> localizedHostName();

/// A name that may be shown and sent, without white space around it: at most 200 bytes of it, cut
/// between two characters. Nothing for one that is empty, not UTF-8, or has control characters.
[[nodiscard]] std::optional<std::string> presentableName(std::string_view name);

}  // namespace orvik
