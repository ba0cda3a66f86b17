#include "core/sampling/linux/BatteryReader.h"

#include <algorithm>
#include <cmath>

namespace orvik {

namespace {

/// The Mac's own threshold for its advice.
constexpr double worn = 80;

/// All batteries together. Sums lack nothing: one battery that does not tell leaves none.
struct Batteries {
  int count = 0;
  bool isCharging = false;
  bool isDischarging = false;
  bool isFull = true;
  bool isOnMains = false;
  /// Wh.
  std::optional<double> now = 0;
  std::optional<double> full = 0;
  std::optional<double> design = 0;
  /// Of those that are charged or discharged; one that rests while another works adds nothing.
  double watts = 0;
  /// The sum of what each battery itself gives.
  std::optional<double> capacities = 0;
  /// Minutes that the one battery of the machine estimates itself.
  std::optional<double> untilEmpty;
  std::optional<double> untilEmptyOnAverage;
  std::optional<double> untilFull;
  std::int64_t cycles = 0;
  bool hasFailed = false;
};

void addTo(std::optional<double>& sum, std::optional<double> value) {
  sum = sum && value ? std::optional(*sum + *value) : std::nullopt;
}

std::optional<double> minutes(PowerSupply& battery, const char* property) {
  const auto seconds = battery.number(property);
  return seconds && *seconds > 0 ? std::optional(*seconds / 60) : std::nullopt;
}

void addCharge(Batteries& all, PowerSupply& battery) {
  const std::string status = battery.text("status");
  all.isCharging = all.isCharging || status == "Charging";
  all.isDischarging = all.isDischarging || status == "Discharging";
  all.isFull = all.isFull && status == "Full";
  addTo(all.now, battery.energy("now"));
  addTo(all.full, battery.energy("full"));
  addTo(all.capacities, battery.number("capacity"));
  all.watts += battery.watts().value_or(0);
  all.untilEmpty = minutes(battery, "time_to_empty_now");
  all.untilFull = minutes(battery, "time_to_full_now");
}

void addChargeAndCycles(Batteries& all, PowerSupply& battery) {
  addCharge(all, battery);
  all.untilEmptyOnAverage = minutes(battery, "time_to_empty_avg");
  all.cycles =
      std::max(all.cycles, static_cast<std::int64_t>(battery.number("cycle_count").value_or(0)));
}

void addHealth(Batteries& all, PowerSupply& battery) {
  addTo(all.full, battery.energy("full"));
  addTo(all.design, battery.energy("full_design"));
  const std::string health = battery.text("health");
  all.hasFailed = all.hasFailed || health == "Dead" || health == "Unspecified failure";
}

/// All of them, with what `add` asks of each.
Batteries readBatteries(PowerSupplies& supplies, void (*add)(Batteries&, PowerSupply&)) {
  Batteries all;
  bool knowsMains = false;
  for (PowerSupply& supply : supplies.all()) {
    if (supply.isMains()) {
      knowsMains = true;
      all.isOnMains = all.isOnMains || supply.number("online").value_or(0) > 0;
    } else if (supply.isBattery() && supply.number("present").value_or(1) > 0) {
      ++all.count;
      add(all, supply);
    }
  }
  if (all.count == 0 || (!knowsMains && !all.isDischarging)) {
    all.isOnMains = true;
  }
  if (all.count > 1) {
    // Each for itself, as if the others did nothing.
    all.untilEmpty = all.untilEmptyOnAverage = all.untilFull = std::nullopt;
  }
  return all;
}

JSONValue wholeOrNull(std::optional<double> value) {
  return value && std::isfinite(*value) ? JSONValue(static_cast<std::int64_t>(std::lround(*value)))
                                        : JSONValue();
}

std::optional<double> percentOf(const Batteries& all) {
  std::optional<double> percent;
  const bool knowsEnergy = all.now && all.full && *all.full > 0;
  // One battery's own figure is the one that is shown elsewhere; those of several cannot be added.
  if (all.count > 0 && knowsEnergy && (all.count > 1 || !all.capacities)) {
    percent = 100 * *all.now / *all.full;
  } else if (all.count > 0 && all.capacities) {
    percent = *all.capacities / all.count;
  }
  return percent ? std::optional(std::clamp(*percent, 0.0, 100.0)) : std::nullopt;
}

const char* stateOf(const Batteries& all, std::optional<double> percent) {
  const bool isAtEnd = percent.value_or(0) >= 100;
  if (all.count == 0) {
    return "paused";
  }
  // Two batteries take turns; with a charger the one that is charged says more.
  if (all.isCharging && (all.isOnMains || !all.isDischarging)) {
    return isAtEnd ? "finishing" : "charging";
  }
  if (all.isDischarging || !all.isOnMains) {
    return "discharging";
  }
  return all.isFull || isAtEnd ? "charged" : "paused";
}

/// Minutes for this energy at the power that flows now. Nothing when no end is in sight.
std::optional<double> minutesFor(std::optional<double> wattHours, double watts) {
  if (!wattHours || *wattHours < 0 || watts <= 0) {
    return std::nullopt;
  }
  constexpr double longest = 65'535;
  const double minutes = 60 * *wattHours / watts;
  return minutes < longest ? std::optional(minutes) : std::nullopt;
}

std::optional<double> minutesUntilEmpty(const Batteries& all) {
  return all.untilEmpty ? all.untilEmpty : minutesFor(all.now, all.watts);
}

std::optional<double> minutesUntilFull(const Batteries& all) {
  if (all.untilFull) {
    return all.untilFull;
  }
  return all.now && all.full ? minutesFor(*all.full - *all.now, all.watts) : std::nullopt;
}

}  // namespace

void BatteryReader::lookForSupplies(Instant now) {
  if (scans.isDue(now)) {
    scans.refreshed(now, now);
    supplies.rescan();
  }
}

JSONObject BatteryReader::battery(Instant now) {
  lookForSupplies(now);
  const Batteries all = readBatteries(supplies, addCharge);
  const auto percent = percentOf(all);
  const std::string_view state = stateOf(all, percent);
  std::optional<double> left;
  if (state == "discharging") {
    left = minutesUntilEmpty(all);
  } else if (state == "charging") {
    left = minutesUntilFull(all);
  }
  return {{"battery_pct", wholeOrNull(percent)},
          {"battery_state", state},
          {"on_ac", all.isOnMains},
          {"battery_min", wholeOrNull(left)}};
}

JSONObject BatteryReader::batteryExtras(Instant now) {
  lookForSupplies(now);
  const Batteries all = readBatteries(supplies, addChargeAndCycles);
  std::optional<double> left;
  if (all.count > 0 && stateOf(all, percentOf(all)) == std::string_view("discharging")) {
    left = all.untilEmptyOnAverage ? all.untilEmptyOnAverage : minutesUntilEmpty(all);
  }
  return {{"battery_est_min", wholeOrNull(left)},
          // Firmware that does not count gives 0.
          {"battery_cycles", all.cycles > 0 ? JSONValue(all.cycles) : JSONValue()},
          {"battery_design_cycles", nullptr}};
}

JSONObject BatteryReader::batteryHealth(Instant now) {
  lookForSupplies(now);
  const Batteries all = readBatteries(supplies, addHealth);
  std::optional<double> percent;
  if (all.count > 0 && all.full && all.design && *all.full > 0 && *all.design > 0) {
    percent = std::min(100.0, 100 * *all.full / *all.design);
  }
  JSONValue condition;
  if (all.hasFailed || percent.value_or(100) < worn) {
    condition = "Service Recommended";
  } else if (percent) {
    condition = "Normal";
  }
  return {{"battery_max_capacity_pct", wholeOrNull(percent)},
          {"battery_condition", std::move(condition)}};
}

}  // namespace orvik
