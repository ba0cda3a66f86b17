#include "core/sampling/linux/HardwareMonitor.h"

#include <unistd.h>

#include <algorithm>

#include "core/values/Text.h"

namespace orvik {

std::vector<HardwareMonitor> hardwareMonitors(const std::string& root) {
  std::vector<HardwareMonitor> monitors;
  const std::string parent = root + "/sys/class/hwmon";
  for (const std::string& name : namesIn(parent)) {
    std::string folder = pathIn(parent, name);
    std::string driver = readLine(folder + "/name");
    monitors.push_back({.folder = std::move(folder), .driver = std::move(driver)});
  }
  return monitors;
}

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

bool isThermalZone(std::string_view driver, std::initializer_list<std::string_view> parts) {
  const std::string name = lowercased(driver);
  return name.find("therm") != std::string::npos &&
         std::ranges::any_of(parts, [&](std::string_view part) { return name.starts_with(part); });
}

std::vector<TemperatureInput> temperatureInputs(const HardwareMonitor& monitor) {
  std::vector<TemperatureInput> inputs;
  constexpr std::string_view ending = "_input";
  for (const std::string& name : namesIn(monitor.folder)) {
    if (name.starts_with("temp") && name.ends_with(ending)) {
      std::string path = pathIn(monitor.folder, name);
      const std::string label =
          readLine(path.substr(0, path.size() - ending.size()).append("_label"));
      inputs.push_back({.label = label, .file = TextFile(std::move(path))});
    }
  }
  return inputs;
}

std::optional<double> readCelsius(TextFile& file) {
  constexpr std::int64_t coldest = -40'000;
  constexpr std::int64_t hottest = 150'000;
  const auto millidegrees = file.readInteger();
  if (!millidegrees || *millidegrees == 0 || *millidegrees <= coldest || *millidegrees > hottest) {
    return std::nullopt;
  }
  return static_cast<double>(*millidegrees) / 1000;
}

bool isReadable(const std::string& path) { return access(path.c_str(), R_OK) == 0; }

}  // namespace orvik
