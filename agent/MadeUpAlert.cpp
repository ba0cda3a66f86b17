#include "agent/MadeUpAlert.h"

namespace orvik {

Alert madeUpAlert(Alert::Kind kind, std::int64_t epochMs) {
  const AlertSettings settings;
  Alert alert{.kind = kind, .state = Alert::State::raised, .epochMs = epochMs};
  switch (kind) {
    case Alert::Kind::tempHigh:
      alert.value = 97.5;
      alert.threshold = settings.tempC;
      break;
    case Alert::Kind::diskFull:
      alert.value = 91.5;
      alert.threshold = settings.diskPct;
      alert.diskFreeGb = 43;
      break;
    case Alert::Kind::onBattery:
      alert.value = 82;
      alert.batteryMin = 200;
      break;
    case Alert::Kind::batteryLow:
      alert.value = 14;
      alert.batteryMin = 25;
      break;
    case Alert::Kind::timeMachine: {
      constexpr std::int64_t days = 34;
      constexpr std::int64_t secondsPerDay = 86'400;
      alert.value = static_cast<double>(days);
      alert.backupEpoch = epochMs / 1000 - days * secondsPerDay;
      alert.backupDiskName = "Backup Disk";
      alert.backupDiskConnected = false;
      break;
    }
  }
  return alert;
}

}  // namespace orvik
