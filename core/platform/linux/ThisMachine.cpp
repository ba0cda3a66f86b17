#include "core/platform/ThisMachine.h"

#include "core/platform/linux/LinuxReadings.h"

namespace orvik {

std::shared_ptr<MachineReadings> readingsOfThisMachine(std::shared_ptr<Clock> clock) {
  return std::make_shared<LinuxReadings>(std::move(clock));
}

}  // namespace orvik
