#include "core/sampling/linux/PowerSupply.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "core/sampling/linux/HardwareMonitor.h"

namespace orvik {

PowerSupply::PowerSupply(std::string where)
    : folder(std::move(where)),
      type(readLine(folder + "/type")),
      isOfDevice(readLine(folder + "/scope") == "Device") {}

bool PowerSupply::isMains() const {
  return !isOfDevice && (type == "Mains" || type.starts_with("USB") || type == "Wireless");
}

void PowerSupply::rescan() {
  std::erase_if(files, [](const auto& entry) { return !entry.second; });
}

TextFile* PowerSupply::fileOf(std::string_view name) {
  auto known = files.find(name);
  if (known == files.end()) {
    const std::string path = pathIn(folder, name);
    known =
        files.emplace(name, isReadable(path) ? std::optional<TextFile>(path) : std::nullopt).first;
  }
  return known->second ? &*known->second : nullptr;
}

std::string PowerSupply::text(std::string_view name) {
  std::array<char, 64> buffer{};
  TextFile* const file = fileOf(name);
  const std::string_view text = file == nullptr ? "" : file->readShort(buffer).value_or("");
  return std::string(text.substr(0, text.find('\n')));
}

std::optional<double> PowerSupply::number(std::string_view name) {
  TextFile* const file = fileOf(name);
  const auto value = file == nullptr ? std::nullopt : file->readInteger();
  return value ? std::optional(static_cast<double>(*value)) : std::nullopt;
}

std::optional<double> PowerSupply::energy(std::string_view what) {
  const std::string ending(what);
  if (const auto microwattHours = number("energy_" + ending)) {
    return *microwattHours / 1e6;
  }
  const auto microampereHours = number("charge_" + ending);
  // The nominal voltage, which does not move with the load.
  auto microvolts = number("voltage_min_design");
  if (!microvolts || *microvolts <= 0) {
    microvolts = number("voltage_now");
  }
  if (!microampereHours || !microvolts) {
    return std::nullopt;
  }
  return *microampereHours * *microvolts / 1e12;
}

std::optional<double> PowerSupply::watts() {
  std::optional<double> watts;
  if (const auto microwatts = number("power_now")) {
    watts = std::fabs(*microwatts) / 1e6;
  } else {
    const auto microamperes = number("current_now");
    const auto microvolts = number("voltage_now");
    if (microamperes && microvolts) {
      watts = std::fabs(*microamperes * *microvolts) / 1e12;
    }
  }
  // Drivers give 0 and some all bits set for what they do not know; no portable battery gives 1 kW.
  const bool isBelieved = watts && *watts > 0 && *watts < 1000;
  return isBelieved ? watts : std::nullopt;
}

void PowerSupplies::rescan() {
  const std::string parent = root + "/sys/class/power_supply";
  auto present = namesIn(parent);
  if (present == found) {
    std::ranges::for_each(supplies, &PowerSupply::rescan);
    return;
  }
  found = std::move(present);
  supplies.clear();
  for (const std::string& name : found) {
    supplies.emplace_back(pathIn(parent, name));
  }
}

}  // namespace orvik
