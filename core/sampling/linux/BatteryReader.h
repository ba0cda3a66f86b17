#pragma once

#include <string>

#include "core/async/Clock.h"
#include "core/sampling/Cadence.h"
#include "core/sampling/linux/PowerSupply.h"
#include "core/values/JSONValue.h"

namespace orvik {

/// The machine's batteries, all of them taken as one. A machine without a battery runs on mains.
class BatteryReader {
 public:
  /// Reads under `root`, from the first call on.
  explicit BatteryReader(const std::string& root) : supplies(root) {}

  /// "battery_pct", "battery_state" ("charging", "finishing", "charged", "discharging", "paused"),
  /// "on_ac", "battery_min" (until empty or full; null while it neither charges nor discharges).
  [[nodiscard]] JSONObject battery(Instant now);
  /// "battery_est_min" (until empty), "battery_cycles" (of the battery that has most), and
  /// "battery_design_cycles", which Linux does not know: null.
  [[nodiscard]] JSONObject batteryExtras(Instant now);
  /// "battery_max_capacity_pct" (of what it was built for, at most 100), "battery_condition":
  /// "Normal", or "Service Recommended" below 80 % or when the battery says that it has failed.
  [[nodiscard]] JSONObject batteryHealth(Instant now);

 private:
  void lookForSupplies(Instant now);

  PowerSupplies supplies;
  /// How soon a battery that was put in or a charger of a new dock is seen.
  Cadence scans{std::chrono::seconds(10)};
};

}  // namespace orvik
