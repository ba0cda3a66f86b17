#include "core/sampling/ThisMachine.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "core/sampling/mac/MacReadings.h"
#include "core/sampling/mac/MacmonReader.h"
#include "core/sampling/mac/Shell.h"
#include "core/sampling/mac/Sysctl.h"
#include "core/sampling/mac/ThisMac.h"
#include "core/system/mac/BundleResources.h"

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

std::shared_ptr<MachineReadings> readingsOfThisMachine(
    const asio::any_io_executor& executor, std::shared_ptr<Clock> clock,
    const std::optional<std::string>& computerIcon) {
  const auto shell = std::make_shared<Shell>();
  const auto macmon =
      std::make_shared<MacmonReader>(MacmonReader::usualPlaces(bundleResources()),
                                     MacmonReader::Dependencies{executor, clock, shell});
  return std::make_shared<MacReadings>(shell, macmon,
                                       std::make_shared<ThisMac>(std::move(clock), computerIcon));
}

}  // namespace orvik
