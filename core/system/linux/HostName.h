#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orvik {

/// The name that the user has given the computer, from the text of /etc/machine-info: the value of
/// PRETTY_HOSTNAME, with or without quotes and backslashes as a shell has them. Nothing when there
/// is none.
[[nodiscard]] std::optional<std::string> prettyHostName(std::string_view machineInfo);

}  // namespace orvik
