#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/system/linux/TextFile.h"

namespace orvik {

/// A battery or a way in for power, as the kernel lists them.
class PowerSupply {
 public:
  /// Looks what it is. Its other properties are read when they are asked for.
  explicit PowerSupply(std::string folder);

  /// One of the machine's own batteries, not that of a mouse. It may have been taken out.
  [[nodiscard]] bool isBattery() const { return !isOfDevice && type == "Battery"; }
  /// A charger's connector.
  [[nodiscard]] bool isMains() const;

  /// Looks anew for the properties that it did not have.
  void rescan();

  /// A property of this name; empty or nothing when there is none or it cannot be read.
  [[nodiscard]] std::string text(std::string_view name);
  [[nodiscard]] std::optional<double> number(std::string_view name);

  /// The energy that the properties "energy_X", or "charge_X" and the voltage, tell for X ("now",
  /// "full", "full_design"); in Wh.
  [[nodiscard]] std::optional<double> energy(std::string_view what);
  /// How fast it is charged or discharged, in watts and positive. Nothing when it stands still.
  [[nodiscard]] std::optional<double> watts();

 private:
  [[nodiscard]] TextFile* fileOf(std::string_view name);

  std::string folder;
  std::string type;
  bool isOfDevice;
  /// Nothing for a property that it does not have.
  std::map<std::string, std::optional<TextFile>, std::less<>> files;
};

/// The machine's batteries and chargers, as they come and go.
class PowerSupplies {
 public:
  explicit PowerSupplies(std::string root) : root(std::move(root)) {}

  /// Looks which there are now, and what they tell. Before it, there are none.
  void rescan();
  [[nodiscard]] std::vector<PowerSupply>& all() { return supplies; }

 private:
  std::string root;
  std::vector<std::string> found;
  std::vector<PowerSupply> supplies;
};

}  // namespace orvik
