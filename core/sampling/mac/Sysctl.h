#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/async/Clock.h"

/// What the kernel tells under a name, as the command `sysctl` shows it. What it does not know, or
/// gives in another form, is absent. May be called from any thread; never waits.
namespace orvik::Sysctl {

/// Up to the first zero byte; valid UTF-8, perhaps empty.
[[nodiscard]] std::optional<std::string> text(const std::string& name);

/// A number of 4 or of 8 bytes.
[[nodiscard]] std::optional<std::int64_t> integer(const std::string& name);

/// When the machine was started. Moves with the clock that was set.
[[nodiscard]] std::optional<Clock::UnixTime> bootTime();

}  // namespace orvik::Sysctl
