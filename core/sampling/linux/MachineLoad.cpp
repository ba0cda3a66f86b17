#include "core/sampling/MachineLoad.h"

#include <cstdlib>
#include <ctime>

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

}  // namespace orvik
