#include "core/platform/ThisMachine.h"

#include <utility>

#include "core/platform/mac/BundleResources.h"
#include "core/platform/mac/ThisMac.h"
#include "core/sampling/MacReadings.h"
#include "core/sampling/MacmonReader.h"
#include "core/sampling/Shell.h"

namespace orvik {

std::shared_ptr<MachineReadings> readingsOfThisMachine(
    const asio::any_io_executor& executor, std::shared_ptr<Clock> clock,
    const std::optional<std::string>& computerIcon) {
  const auto shell = std::make_shared<Shell>();
  const auto macmon =
      std::make_shared<MacmonReader>(MacmonReader::usualPlaces(bundleResources()),
                                     MacmonReader::Surroundings{executor, clock, shell});
  return std::make_shared<MacReadings>(shell, macmon,
                                       std::make_shared<ThisMac>(std::move(clock), computerIcon));
}

}  // namespace orvik
