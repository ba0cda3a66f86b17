#pragma once

#include <filesystem>
#include <optional>

namespace orvik {

/// The folder of resources in the bundle of the running program; nothing for a program without one.
/// May be called from any thread.
[[nodiscard]] std::optional<std::filesystem::path> bundleResources();

}  // namespace orvik
