#include "OrvikApp/platform/PowerEvents.h"

#include "OrvikApp/platform/linux/LogindPowerEvents.h"

namespace orvik {

std::unique_ptr<PowerEvents> openPowerEvents() {
  return std::make_unique<LogindPowerEvents>(QDBusConnection::systemBus());
}

}  // namespace orvik
