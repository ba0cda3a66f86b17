#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orvik {

/// The name that the user has given the computer, from the text of /etc/machine-info: the value of
/// PRETTY_HOSTNAME, with or without quotes and backslashes as a shell has them. Nothing when there
/// is none.
[[nodiscard]] std::optional<std::string> prettyHostName(std::string_view machineInfo);

/// A name that may be shown and sent: at most 200 bytes of it, cut between two characters. Nothing
/// for one that is empty, not UTF-8, or has control characters.
[[nodiscard]] std::optional<std::string> presentableName(std::string_view name);

}  // namespace orvik
