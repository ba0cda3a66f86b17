#pragma once

#include <memory>

#include "core/platform/Clock.h"
#include "core/sampling/MachineReadings.h"

namespace orvik {

/// The readings of the machine that the program runs on. They run on any executor.
[[nodiscard]] std::shared_ptr<MachineReadings> readingsOfThisMachine(std::shared_ptr<Clock> clock);

}  // namespace orvik
