#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/values/JSONValue.h"

/// From the output of the Mac's tools to sample keys. Pure functions that take any text, empty and
/// broken text included, and give null or leave out what they do not find.
namespace orvik::SamplerParsing {

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

/// `route -n get default`: the address of the gateway; nothing when there is no default route or it
/// has none.
[[nodiscard]] std::optional<std::string> gateway(std::string_view route);

/// The same output: the interface that leads there ("en0").
[[nodiscard]] std::optional<std::string> interfaceName(std::string_view route);

/// `networksetup -listnetworkserviceorder`: the name of the service on an interface ("Wi-Fi");
/// nothing when there is none or it is disabled.
[[nodiscard]] std::optional<std::string> linkName(std::string_view serviceOrder,
                                                  std::string_view interfaceName);

/// `dig +short -x`: the name of the router, without the final point; nothing when it has none.
[[nodiscard]] std::optional<std::string> routerName(std::string_view text);

}  // namespace orvik::SamplerParsing
