#include "core/sampling/ThisMachine.h"

#include "core/sampling/linux/LinuxReadings.h"

namespace orvik {

std::shared_ptr<MachineReadings> readingsOfThisMachine(
    const asio::any_io_executor& /*executor*/, std::shared_ptr<Clock> clock,
    const std::optional<std::string>& /*computerIcon*/) {
  return std::make_shared<LinuxReadings>(std::move(clock));
}

}  // namespace orvik
