#pragma once

#include <cstdint>

namespace orvik {

/// When an alert is due, and which are wanted. Hot processors and full disks cannot be switched
/// off.
struct AlertSettings {
  /// Processor temperature, °C.
  std::int64_t tempC = 95;
  /// Disk use, per cent.
  std::int64_t diskPct = 90;
  /// Whether to announce the change from mains to battery, a low battery, an overdue backup.
  bool onBattery = true;
  bool batteryLow = true;
  bool timeMachine = true;

  bool operator==(const AlertSettings&) const = default;
};

}  // namespace orvik
