#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/sampling/PowerGuard.h"
#include "core/values/JSONValue.h"
#include "core/values/UntypedValue.h"

/// From the output of the Mac's tools to sample keys. Pure functions that take any text, empty and
/// broken text included, and give null or leave out what they do not find.
namespace orvik::SamplerParsing {

/// One line of macmon: the fifteen processor keys. A missing number counts as 0. Power passes the
/// guard. Knows the names that the members have had in the tool's versions.
[[nodiscard]] JSONObject macmon(const UntypedValue::Map& line, PowerGuard& guard);

/// `pmset -g batt`: "battery_pct", "battery_state" ("discharging", "charging", "finishing",
/// "charged", else "paused"), "on_ac", "battery_min" (minutes until empty or full). Of several
/// power sources the first counts.
[[nodiscard]] JSONObject pmsetBattery(std::string_view text);

/// `ioreg -rn AppleSmartBattery`: "battery_est_min" (minutes until empty; null when there is no
/// estimate), "battery_cycles", "battery_design_cycles".
[[nodiscard]] JSONObject batteryExtras(std::string_view text);

/// `system_profiler SPPowerDataType`: "battery_max_capacity_pct", "battery_condition".
[[nodiscard]] JSONObject powerProfile(std::string_view text);

/// `ps -Aceo pcpu,comm -r`: the busiest processes as the tool orders them, arrays of per cent
/// (double; of one core) and name (at most 34 characters). Only the first 12 lines are read, of
/// which one is the header.
[[nodiscard]] JSONValue processes(std::string_view text);

/// The exported preferences of Time Machine: the latest backup, seconds since 1970. Nothing when
/// there has been none or the preferences may not be read.
[[nodiscard]] std::optional<std::int64_t> lastBackup(std::string_view prefs);

/// `tmutil status` and `tmutil destinationinfo`: "tm_last_backup", "tm_running",
/// "tm_disk_connected", "tm_disk_name".
[[nodiscard]] JSONObject timeMachine(std::int64_t lastBackup, std::string_view status,
                                     std::string_view destinationInfo);

/// `dig +short -x`: the name of the router, without the final point; nothing when it has none.
[[nodiscard]] std::optional<std::string> routerName(std::string_view text);

}  // namespace orvik::SamplerParsing
