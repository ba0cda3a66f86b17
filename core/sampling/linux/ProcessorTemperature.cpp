#include "core/sampling/linux/ProcessorTemperature.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace orvik {

namespace {

enum Rank { cores, package, control, zoneOfCores, zoneOfChip };

/// What a sensor of this driver is; nothing when it is not one of the processor's.
std::optional<Rank> rankOf(std::string_view driver, std::string_view label) {
  constexpr std::array<std::string_view, 5> processors{"coretemp", "k10temp", "k8temp", "zenpower",
                                                       "via_cputemp"};
  if (std::ranges::find(processors, driver) != processors.end()) {
    if (label.starts_with("Core ") || label.starts_with("Tccd")) {
      return cores;
    }
    // On some processors 10 or 27 degrees above the real one, for the fan's sake.
    return label == "Tctl" ? control : package;
  }
  if (driver == "x86_pkg_temp") {
    return package;
  }
  if (isThermalZone(driver, {"cpu", "bigcore", "littlecore"})) {
    return zoneOfCores;
  }
  if (isThermalZone(driver, {"soc", "package", "imx", "bcm"})) {
    return zoneOfChip;
  }
  return std::nullopt;
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
