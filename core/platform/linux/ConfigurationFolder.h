#pragma once

#include <filesystem>

namespace orvik {

/// Where the user's settings are: $XDG_CONFIG_HOME, or ~/.config where that is not set or not
/// absolute, as the XDG Base Directory rules have it. Empty without a home.
[[nodiscard]] std::filesystem::path configurationFolder();

}  // namespace orvik
