#pragma once

#include <boost/asio/any_io_executor.hpp>

#include <array>
#include <memory>
#include <optional>
#include <string>

#include "core/async/Clock.h"
#include "core/sampling/MachineReadings.h"

namespace orvik {

/// How busy the machine is, and for how long it has been up.
struct MachineLoad {
  /// Over 1, 5 and 15 minutes; 0 where the system tells nothing.
  std::array<double, 3> loadAverages{};
  /// Seconds.
  double uptime = 0;
};

/// Reads both from the system. May be called from any thread.
[[nodiscard]] MachineLoad readMachineLoad();

/// The readings of the machine that the program runs on. They may be awaited on any executor; what
/// goes on between two readings runs on `executor`. `computerIcon` is the system's picture of a
/// computer (a PNG of 128 x 128 pixels) where the program can have it drawn; systems for which a
/// picture comes with the program do not use it.
[[nodiscard]] std::shared_ptr<MachineReadings> readingsOfThisMachine(
    const asio::any_io_executor& executor, std::shared_ptr<Clock> clock,
    const std::optional<std::string>& computerIcon = std::nullopt);

}  // namespace orvik
