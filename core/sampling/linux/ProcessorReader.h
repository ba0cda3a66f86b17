#pragma once

#include <optional>
#include <string>

#include "core/sampling/linux/CounterRate.h"
#include "core/sampling/linux/KernelText.h"
#include "core/system/linux/TextFile.h"
#include "core/values/JSONValue.h"

namespace orvik {

/// How busy the processor was between two readings of what it has spent its time with.
class ProcessorUse {
 public:
  /// Per cent (0 to 100) of the time that was counted since the reading before; waiting for a disk
  /// is not use. Nothing at the first reading; the last answer when nothing was counted since.
  /// A counter that has gone backwards, as those of idle time do when a CPU goes off-line, counts
  /// as one that stood still.
  [[nodiscard]] std::optional<double> update(const KernelText::ProcessorTimes& now);

 private:
  std::optional<KernelText::ProcessorTimes> previous;
  std::optional<double> last;
};

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
