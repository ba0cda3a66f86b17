#include "core/sampling/ThisMachine.h"

#include <cstdlib>
#include <ctime>

#include "core/sampling/linux/LinuxReadings.h"

namespace orvik {

MachineLoad readMachineLoad() {
  MachineLoad load;
  getloadavg(load.loadAverages.data(), static_cast<int>(load.loadAverages.size()));
  // The clock that /proc/uptime shows: it counts sleep, as `uptime` does.
  timespec time{};
  if (clock_gettime(CLOCK_BOOTTIME, &time) == 0) {
    load.uptime = static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
  }
  return load;
}

std::shared_ptr<MachineReadings> readingsOfThisMachine(
    const asio::any_io_executor& /*executor*/, std::shared_ptr<Clock> clock,
    const std::optional<std::string>& /*computerIcon*/) {
  return std::make_shared<LinuxReadings>(std::move(clock));
}

}  // namespace orvik
