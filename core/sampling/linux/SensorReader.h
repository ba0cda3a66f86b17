#pragma once

#include <optional>
#include <string>

#include "core/sampling/Cadence.h"
#include "core/sampling/PowerGuard.h"
#include "core/sampling/linux/CoreFrequencies.h"
#include "core/sampling/linux/CounterRate.h"
#include "core/sampling/linux/GraphicsReader.h"
#include "core/sampling/linux/PackagePower.h"
#include "core/sampling/linux/PowerSupply.h"
#include "core/sampling/linux/ProcessorTemperature.h"
#include "core/values/JSONValue.h"

namespace orvik {

/// Temperatures, graphics, power and frequencies: what the kernel has to ask a device for, which
/// takes its time and may never answer.
class SensorReader {
 public:
  /// Reads under `root`, from the first call on.
  explicit SensorReader(const std::string& root, MonotonicTime now = monotonicNow);

  /// The keys that this machine has, none perhaps. Use and power that the kernel only counts are
  /// means over the time since the reading before, and absent from the first one. A reading less
  /// than half a second after another (0.4 s after the first) gives the same again.
  ///   "temp_cpu", "temp_gpu", "ecpu_mhz", "pcpu_mhz", "gpu_pct"
  ///   "cpu_power_w"  the processor packages, without the graphics on them where these are known
  ///   "gpu_power_w"  graphics, wherever they are
  ///   "power_w"      the packages, and graphics with a supply of their own
  ///   "sys_power_w"  the whole machine: as the platform measures it, else what the batteries give
  ///   "gpu_off"      the system has switched off all graphics processors
  [[nodiscard]] JSONObject read();

 private:
  void lookForSensors(Instant time);
  void addPower(JSONObject& keys, const GraphicsReader::Reading& graphics);
  void addGuarded(JSONObject& keys, std::string_view key, std::string_view kind,
                  std::optional<double> watts);
  [[nodiscard]] std::optional<double> batteryWatts();

  MonotonicTime now;
  ProcessorTemperature temperature;
  GraphicsReader graphicsReader;
  PackagePower packagePower;
  PowerSupplies supplies;
  CoreFrequencies frequencies;
  PowerGuard guard;
  /// How soon a device that was plugged in is seen.
  Cadence scans{std::chrono::seconds(30)};
  std::optional<Instant> readAt;
  bool hasCompared = false;
  JSONObject last;
};

}  // namespace orvik
