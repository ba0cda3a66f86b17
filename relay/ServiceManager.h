#pragma once

#include <chrono>
#include <optional>
#include <string_view>

namespace orvik::relay {

/// Tells systemd how the service fares ("READY=1"), if it was started by it and asks for that;
/// otherwise does nothing.
void tellServiceManager(std::string_view state);

/// How often systemd wants to hear "WATCHDOG=1" at least, if it does.
[[nodiscard]] std::optional<std::chrono::microseconds> watchdogTime();

}  // namespace orvik::relay
