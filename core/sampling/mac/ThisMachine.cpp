#include "core/sampling/ThisMachine.h"

#include <utility>

#include "core/sampling/mac/MacReadings.h"
#include "core/sampling/mac/MacmonReader.h"
#include "core/sampling/mac/Shell.h"
#include "core/sampling/mac/ThisMac.h"
#include "core/system/mac/BundleResources.h"

namespace orvik {

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
