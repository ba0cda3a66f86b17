#include "core/platform/linux/PowerSupply.h"

#include <array>
#include <cmath>

namespace orvik {

PowerSupply::PowerSupply(std::string where)
    : folder(std::move(where)),
      type(readLine(folder + "/type")),
      isOfDevice(readLine(folder + "/scope") == "Device") {}

bool PowerSupply::isMains() const {
  return !isOfDevice && (type == "Mains" || type.starts_with("USB") || type == "Wireless");
}

TextFile& PowerSupply::fileOf(std::string_view name) {
  const auto known = files.find(name);
  return known != files.end() ? known->second
                              : files.emplace(name, TextFile(pathIn(folder, name))).first->second;
}

std::string PowerSupply::text(std::string_view name) {
  std::array<char, 64> buffer{};
  const std::string_view text = fileOf(name).read(buffer).value_or("");
  return std::string(text.substr(0, text.find('\n')));
}

std::optional<double> PowerSupply::number(std::string_view name) {
  const auto value = fileOf(name).readInteger();
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
    return;
  }
  found = std::move(present);
  supplies.clear();
  for (const std::string& name : found) {
    supplies.emplace_back(pathIn(parent, name));
  }
}

}  // namespace orvik
