#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/system/linux/TextFile.h"

namespace orvik {

/// One chip that the kernel has sensors of. Its number may be another after each start, so the
/// driver's name says what it is.
struct HardwareMonitor {
  std::string folder;
  std::string driver;
  bool operator==(const HardwareMonitor&) const = default;
};

[[nodiscard]] std::vector<HardwareMonitor> hardwareMonitors(const std::string& root);

/// The thermal zones, which not every kernel shows among the hardware monitors too. Each has one
/// temperature, in the file "temp".
[[nodiscard]] std::vector<HardwareMonitor> thermalZones(const std::string& root);

/// Whether this is what a board calls a thermal zone of one of these parts (in lower case). They
/// name them freely, but to a pattern: cpu_thermal, cpu0-thermal, GPU-therm, imx_thermal_zone.
[[nodiscard]] bool isThermalZone(std::string_view driver,
                                 std::initializer_list<std::string_view> parts);

/// One of a chip's temperatures.
struct TemperatureInput {
  /// As the driver calls it ("Core 0", "edge"); often empty.
  std::string label;
  TextFile file;
};

[[nodiscard]] std::vector<TemperatureInput> temperatureInputs(const HardwareMonitor& monitor);

/// The temperature in °C that a file holds in thousandths. Nothing when it cannot be read, or when
/// it is one that drivers give for "none": exactly 0, -40 and colder, above 150.
[[nodiscard]] std::optional<double> readCelsius(TextFile& file);

/// Whether the file is there and may be read. Does not read it: that could wake a device.
[[nodiscard]] bool isReadable(const std::string& path);

}  // namespace orvik
