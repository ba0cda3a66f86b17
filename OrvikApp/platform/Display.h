#pragma once

#include <optional>
#include <string>

namespace orvik {

/// What stands in the way of showing windows, as one line for the user; nothing when all is well.
/// To be asked before the toolkit is started, which ends the program when it finds no display.
[[nodiscard]] std::optional<std::string> missingDisplay();

}  // namespace orvik
