#pragma once

#include <optional>
#include <string>
#include <string_view>

/// From the output of the Mac's network tools to the members of "network". Pure functions that take
/// any text.
namespace orvik::NetworkParsing {

/// `route -n get default`: the address of the gateway; nothing when there is no default route or it
/// has none.
[[nodiscard]] std::optional<std::string> gateway(std::string_view route);

/// The same output: the interface that leads there ("en0").
[[nodiscard]] std::optional<std::string> interfaceName(std::string_view route);

/// `networksetup -listnetworkserviceorder`: the name of the service on an interface ("Wi-Fi");
/// nothing when there is none or it is disabled.
[[nodiscard]] std::optional<std::string> linkName(std::string_view serviceOrder,
                                                  std::string_view interfaceName);

}  // namespace orvik::NetworkParsing
