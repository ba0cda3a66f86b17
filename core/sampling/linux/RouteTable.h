#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orvik {

/// Where packets for the rest of the world go.
struct DefaultRoute {
  std::string interface;
  /// The gateway's address as text; nothing on a link that has only one other end.
  std::optional<std::string> gateway;

  bool operator==(const DefaultRoute&) const = default;
};

/// The default route with the lowest metric in the text of /proc/net/route.
[[nodiscard]] std::optional<DefaultRoute> defaultIPv4Route(std::string_view table);
/// The same for /proc/net/ipv6_route.
[[nodiscard]] std::optional<DefaultRoute> defaultIPv6Route(std::string_view table);

}  // namespace orvik
