#include "core/sampling/linux/SensorReader.h"

#include <algorithm>
#include <utility>

#include "core/values/JSONMembers.h"
#include "core/values/NumberText.h"

namespace orvik {

namespace {

void add(JSONObject& keys, std::string_view key, std::optional<double> value) {
  if (value) {
    keys.set(key, pyRound(*value, 1));
  }
}

std::optional<double> sum(std::optional<double> left, std::optional<double> right) {
  return left || right ? std::optional(left.value_or(0) + right.value_or(0)) : std::nullopt;
}

}  // namespace

SensorReader::SensorReader(const std::string& root, MonotonicTime now)
    : now(std::move(now)),
      temperature(root),
      graphicsReader(root),
      packagePower(root),
      supplies(root),
      frequencies(root) {}

JSONObject SensorReader::read() {
  const Instant time = now();
  if (readAt && time - *readAt < shortestInterval(hasCompared)) {
    return last;
  }
  hasCompared = readAt.has_value();
  readAt = time;
  lookForSensors(time);

  JSONObject keys;
  add(keys, "temp_cpu", temperature.read());
  const GraphicsReader::Reading graphics = graphicsReader.read(now);
  add(keys, "temp_gpu", graphics.temperature);
  add(keys, "gpu_pct", graphics.use);
  setIfPresent(keys, "gpu_off", graphics.isOff);
  addPower(keys, graphics);
  const CoreFrequencies::Reading megahertz = frequencies.read();
  setIfPresent(keys, "ecpu_mhz", megahertz.efficiency);
  setIfPresent(keys, "pcpu_mhz", megahertz.performance);
  last = std::move(keys);
  return last;
}

void SensorReader::lookForSensors(Instant time) {
  if (!scans.isDue(time)) {
    return;
  }
  scans.refreshed(time, time);
  temperature.rescan();
  graphicsReader.rescan();
  packagePower.rescan();
  supplies.rescan();
  frequencies.rescan();
}

void SensorReader::addPower(JSONObject& keys, const GraphicsReader::Reading& graphics) {
  const PackagePower::Watts processor = packagePower.read(now);
  // A chip with graphics on it tells its power twice; that of the packages is the finer one.
  const auto chips = processor.packages ? processor.packages : graphics.chipWatts;
  std::optional<double> cores = processor.packages;
  if (cores) {
    // Beside that of graphics this adds up. The two counters are read one after the other.
    cores = std::max(0.0, *cores - processor.graphics.value_or(0));
  }
  addGuarded(keys, "power_w", "all", chips ? sum(chips, graphics.watts) : std::nullopt);
  addGuarded(keys, "cpu_power_w", "cpu", cores);
  addGuarded(keys, "gpu_power_w", "gpu", sum(processor.graphics, graphics.watts));
  addGuarded(keys, "sys_power_w", "sys", processor.machine ? processor.machine : batteryWatts());
}

void SensorReader::addGuarded(JSONObject& keys, std::string_view key, std::string_view kind,
                              std::optional<double> watts) {
  if (watts) {
    keys.set(key, pyRound(guard.clean(kind, *watts), 2));
  }
}

std::optional<double> SensorReader::batteryWatts() {
  std::optional<double> watts;
  for (PowerSupply& supply : supplies.all()) {
    if (supply.isBattery() && supply.text("status") == "Discharging") {
      watts = sum(watts, supply.watts());
    }
  }
  return watts;
}

}  // namespace orvik
