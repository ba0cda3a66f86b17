#pragma once

#include <optional>
#include <string>

namespace orvik {

/// The system's picture of a computer as it goes to the phone: a PNG of 128 x 128 pixels. Nothing
/// when the system has none to give, or when the readings have a picture of their own. Main thread
/// only.
[[nodiscard]] std::optional<std::string> computerIcon();

}  // namespace orvik
