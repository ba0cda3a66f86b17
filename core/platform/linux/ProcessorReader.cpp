#include "core/platform/linux/ProcessorReader.h"

#include <array>
#include <utility>

#include "core/platform/linux/KernelText.h"
#include "core/values/NumberText.h"

namespace orvik {

namespace {

using namespace std::chrono_literals;

/// How soon a device that was plugged in is seen.
constexpr auto rescanInterval = 30s;
/// Fifty ticks of each CPU's counters: a step of 2 %.
constexpr auto shortestInterval = 500ms;
constexpr double gibibyte = 1024.0 * 1024 * 1024;

void add(JSONObject& keys, std::string_view key, std::optional<double> value) {
  if (value) {
    keys.set(key, pyRound(*value, 1));
  }
}

std::optional<double> sum(std::optional<double> left, std::optional<double> right) {
  return left || right ? std::optional(left.value_or(0) + right.value_or(0)) : std::nullopt;
}

}  // namespace

ProcessorReader::ProcessorReader(const std::string& root)
    : statistics(root + "/proc/stat"),
      memory(root + "/proc/meminfo"),
      temperature(root),
      graphicsReader(root),
      packagePower(root),
      supplies(root),
      frequencies(root) {}

JSONObject ProcessorReader::read(Instant now) {
  if (readAt && now - *readAt < shortestInterval) {
    return last;
  }
  readAt = now;
  lookForSensors(now);

  JSONObject keys;
  addUse(keys);
  add(keys, "temp_cpu", temperature.read());
  const GraphicsReader::Reading graphics = graphicsReader.read(now);
  add(keys, "temp_gpu", graphics.temperature);
  add(keys, "gpu_pct", graphics.use);
  if (graphics.isOff) {
    keys.set("gpu_off", *graphics.isOff);
  }
  addPower(keys, graphics, now);
  addMemory(keys);
  addFrequencies(keys);
  if (keys.empty()) {
    keys.set("error", "macmon indisponible");
  }
  last = keys;
  return keys;
}

void ProcessorReader::lookForSensors(Instant now) {
  if (scannedAt && now - *scannedAt < rescanInterval) {
    return;
  }
  scannedAt = now;
  temperature.rescan();
  graphicsReader.rescan();
  packagePower.rescan();
  supplies.rescan();
  frequencies.rescan();
}

void ProcessorReader::addUse(JSONObject& keys) {
  // The first line is all that is needed.
  std::array<char, 512> buffer{};
  const auto times = KernelText::processorTimes(statistics.read(buffer).value_or(""));
  if (times) {
    add(keys, "cpu_pct", use.update(*times));
  }
}

void ProcessorReader::addMemory(JSONObject& keys) {
  std::array<char, 4096> buffer{};
  const auto now = KernelText::memory(memory.read(buffer).value_or(""));
  if (!now) {
    return;
  }
  add(keys, "ram_pct", 100 * now->used / now->total);
  add(keys, "ram_used_gb", now->used / gibibyte);
  add(keys, "ram_total_gb", now->total / gibibyte);
  keys.set("swap_gb", pyRound(now->swapUsed / gibibyte, 2));
}

void ProcessorReader::addFrequencies(JSONObject& keys) {
  const CoreFrequencies::Reading now = frequencies.read();
  if (now.efficiency) {
    keys.set("ecpu_mhz", *now.efficiency);
  }
  if (now.performance) {
    keys.set("pcpu_mhz", *now.performance);
  }
}

void ProcessorReader::addPower(JSONObject& keys, const GraphicsReader::Reading& graphics,
                               Instant now) {
  const PackagePower::Watts processor = packagePower.read(now);
  // A chip with graphics on it tells its power twice; that of the packages is the finer one.
  const auto chips = processor.packages ? processor.packages : graphics.chipWatts;
  addGuarded(keys, "power_w", "all", chips ? sum(chips, graphics.watts) : std::nullopt);
  addGuarded(keys, "cpu_power_w", "cpu", processor.packages);
  addGuarded(keys, "gpu_power_w", "gpu", sum(processor.graphics, graphics.watts));
  addGuarded(keys, "sys_power_w", "sys", processor.machine ? processor.machine : batteryWatts());
}

void ProcessorReader::addGuarded(JSONObject& keys, std::string_view key, std::string_view kind,
                                 std::optional<double> watts) {
  if (watts) {
    keys.set(key, pyRound(guard.clean(kind, *watts), 2));
  }
}

std::optional<double> ProcessorReader::batteryWatts() {
  std::optional<double> watts;
  for (PowerSupply& supply : supplies.all()) {
    if (supply.isBattery() && supply.text("status") == "Discharging") {
      watts = sum(watts, supply.watts());
    }
  }
  return watts;
}

}  // namespace orvik
