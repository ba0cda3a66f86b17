#pragma once

#include <boost/asio/any_io_executor.hpp>

#include <memory>
#include <optional>
#include <string>

#include "core/async/Clock.h"
#include "core/sampling/MachineReadings.h"

namespace orvik {

/// The readings of the machine that the program runs on. They may be awaited on any executor; what
/// goes on between two readings runs on `executor`. `computerIcon` is the system's picture of a
/// computer (a PNG of 128 x 128 pixels) where the program can have it drawn; systems for which a
/// picture comes with the program do not use it.
[[nodiscard]] std::shared_ptr<MachineReadings> readingsOfThisMachine(
    const asio::any_io_executor& executor, std::shared_ptr<Clock> clock,
    const std::optional<std::string>& computerIcon = std::nullopt);

}  // namespace orvik
