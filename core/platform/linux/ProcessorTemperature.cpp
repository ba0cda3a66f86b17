#include "core/platform/linux/ProcessorTemperature.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace orvik {

namespace {

enum Rank { cores, package, control, zoneOfCores, zoneOfChip };

bool startsWithAny(std::string_view text, std::initializer_list<std::string_view> beginnings) {
  return std::ranges::any_of(beginnings,
                             [&](std::string_view start) { return text.starts_with(start); });
}

/// What a sensor of this driver is; nothing when it is not one of the processor's.
std::optional<Rank> rankOf(std::string_view driver, std::string_view label) {
  constexpr std::array<std::string_view, 5> processors{"coretemp", "k10temp", "k8temp", "zenpower",
                                                       "via_cputemp"};
  if (std::ranges::find(processors, driver) != processors.end()) {
    if (startsWithAny(label, {"Core ", "Tccd"})) {
      return cores;
    }
    // On some processors 10 or 27 degrees above the real one, for the fan's sake.
    return label == "Tctl" ? control : package;
  }
  if (driver == "x86_pkg_temp") {
    return package;
  }
  // Boards name their zones freely, but to a pattern: cpu_thermal, cpu0-thermal, CPU-therm.
  std::string name(driver);
  std::ranges::transform(name, name.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 32) : c;
  });
  if (name.find("therm") != std::string::npos) {
    if (startsWithAny(name, {"cpu", "bigcore", "littlecore"})) {
      return zoneOfCores;
    }
    if (startsWithAny(name, {"soc", "package"})) {
      return zoneOfChip;
    }
  }
  return std::nullopt;
}

/// The thermal zones, for kernels that do not show them among the hardware monitors.
std::vector<HardwareMonitor> thermalZones(const std::string& root) {
  std::vector<HardwareMonitor> zones;
  const std::string parent = root + "/sys/class/thermal";
  for (const std::string& name : namesIn(parent)) {
    if (name.starts_with("thermal_zone")) {
      const std::string folder = pathIn(parent, name);
      zones.push_back({.folder = folder, .driver = readLine(folder + "/type")});
    }
  }
  return zones;
}

}  // namespace

void ProcessorTemperature::rescan() {
  auto present = hardwareMonitors(root);
  std::ranges::move(thermalZones(root), std::back_inserter(present));
  if (present == found) {
    return;
  }
  found = std::move(present);
  sensors.clear();
  for (const HardwareMonitor& monitor : found) {
    for (TemperatureInput& input : temperatureInputs(monitor)) {
      if (const auto rank = rankOf(monitor.driver, input.label)) {
        sensors.push_back({*rank, std::move(input.file)});
      }
    }
    const std::string zone = monitor.folder + "/temp";
    if (const auto rank = rankOf(monitor.driver, ""); rank && isReadable(zone)) {
      sensors.push_back({*rank, TextFile(zone)});
    }
  }
  std::ranges::stable_sort(sensors, {}, &Sensor::rank);
}

std::optional<double> ProcessorTemperature::read() {
  double sum = 0;
  int count = 0;
  int rank = 0;
  for (Sensor& sensor : sensors) {
    if (sensor.rank != rank && count > 0) {
      break;
    }
    rank = sensor.rank;
    if (const auto celsius = readCelsius(sensor.file)) {
      sum += *celsius;
      ++count;
    }
  }
  return count > 0 ? std::optional(sum / count) : std::nullopt;
}

}  // namespace orvik
