#include "OrvikApp/platform/TrayHost.h"

#include <utility>

#include "OrvikApp/platform/linux/DesktopTrayHost.h"

namespace orvik {

std::unique_ptr<TrayHost> watchTrayHost(std::function<void(bool isPresent)> changed) {
  return std::make_unique<DesktopTrayHost>(std::move(changed));
}

}  // namespace orvik
