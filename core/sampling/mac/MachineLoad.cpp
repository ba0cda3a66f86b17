#include "core/sampling/MachineLoad.h"

#include <algorithm>
#include <cstdlib>

#include "core/sampling/mac/Sysctl.h"

namespace orvik {

MachineLoad readMachineLoad() {
  MachineLoad load;
  getloadavg(load.loadAverages.data(), static_cast<int>(load.loadAverages.size()));
  if (const auto boot = Sysctl::bootTime()) {
    const std::chrono::duration<double> time = SystemClock().unixNow() - *boot;
    // The clock may be set back between the two.
    load.uptime = std::max(time.count(), 0.0);
  }
  return load;
}

}  // namespace orvik
