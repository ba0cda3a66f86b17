#pragma once

#include <string>

#include "core/values/JSONValue.h"

namespace orvik {

/// The displays that are connected to the machine's graphics cards, below `root`: an array of
/// objects in the order of the connectors, with "name", "width" and "height" in pixels and
/// "refresh_hz" (each null when unknown), "main", "builtin". Width, height and refresh rate are
/// those that the display prefers; the kernel does not tell which ones it is used with.
[[nodiscard]] JSONValue readDisplays(const std::string& root);

}  // namespace orvik
