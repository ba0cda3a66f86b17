#pragma once

#include <optional>
#include <string>

#include "core/sampling/linux/MonotonicTime.h"
#include "core/sampling/linux/ProcessorUse.h"
#include "core/system/linux/TextFile.h"
#include "core/values/JSONValue.h"

namespace orvik {

/// The processor's use and the memory, from two tables of the kernel that it always answers at
/// once. What has to ask a device is SensorReader's.
class ProcessorReader {
 public:
  /// Reads under `root`, from the first call on.
  explicit ProcessorReader(const std::string& root, MonotonicTime now = monotonicNow);

  /// "cpu_pct" (since the reading before; absent from the first one), "ram_pct", "ram_used_gb",
  /// "ram_total_gb", "swap_gb"; empty when there is nothing. A reading less than half a second
  /// after another (0.4 s after the first) gives the same again: too little is counted in it. What
  /// a container is limited to is not considered: these are the machine's readings.
  [[nodiscard]] JSONObject read();

 private:
  void addUse(JSONObject& keys);
  void addMemory(JSONObject& keys);

  MonotonicTime now;
  TextFile statistics;
  TextFile memory;
  ProcessorUse use;
  std::optional<Instant> readAt;
  bool hasCompared = false;
  JSONObject last;
};

}  // namespace orvik
