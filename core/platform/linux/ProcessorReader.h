#pragma once

#include <optional>
#include <string>

#include "core/platform/Clock.h"
#include "core/platform/linux/CoreFrequencies.h"
#include "core/platform/linux/GraphicsReader.h"
#include "core/platform/linux/PackagePower.h"
#include "core/platform/linux/PowerSupply.h"
#include "core/platform/linux/ProcessorTemperature.h"
#include "core/platform/linux/ProcessorUse.h"
#include "core/sampling/PowerGuard.h"
#include "core/values/JSONValue.h"

namespace orvik {

/// The processor keys: use, temperatures, power, memory and frequencies, from proc and sys.
class ProcessorReader {
 public:
  /// Reads under `root`, from the first call on.
  explicit ProcessorReader(const std::string& root);

  /// The keys that this machine has. Use and power that the kernel only counts are means over the
  /// time since the reading before, and absent from the first one. A reading less than half a
  /// second after another gives the same again: too little is counted in it.
  ///   "cpu_power_w"  all processor packages, graphics on them included
  ///   "gpu_power_w"  graphics, wherever they are
  ///   "power_w"      the packages, and graphics with a supply of their own
  ///   "sys_power_w"  the whole machine: as the platform measures it, else what the batteries give
  ///   "gpu_off"      the system has switched off all graphics processors
  /// The single key "error" when there is nothing at all. What a container is limited to is not
  /// considered: these are the machine's readings.
  [[nodiscard]] JSONObject read(Instant now);

 private:
  void lookForSensors(Instant now);
  void addUse(JSONObject& keys);
  void addMemory(JSONObject& keys);
  void addFrequencies(JSONObject& keys);
  void addPower(JSONObject& keys, const GraphicsReader::Reading& graphics, Instant now);
  void addGuarded(JSONObject& keys, std::string_view key, std::string_view kind,
                  std::optional<double> watts);
  [[nodiscard]] std::optional<double> batteryWatts();

  TextFile statistics;
  TextFile memory;
  ProcessorUse use;
  ProcessorTemperature temperature;
  GraphicsReader graphicsReader;
  PackagePower packagePower;
  PowerSupplies supplies;
  CoreFrequencies frequencies;
  PowerGuard guard;
  std::optional<Instant> scannedAt;
  std::optional<Instant> readAt;
  JSONObject last;
};

}  // namespace orvik
