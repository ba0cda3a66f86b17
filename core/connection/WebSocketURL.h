#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvik {

/// What a connection needs of a wss URL.
struct WebSocketURL {
  /// A name, or an address without brackets.
  std::string host;
  std::uint16_t port = 443;
  /// Path and query, as they stand in the request: begins with "/".
  std::string target;

  /// Nothing unless the text is a wss URL with a host and without credentials or a fragment.
  [[nodiscard]] static std::optional<WebSocketURL> parse(std::string_view text);

  /// Whether the host is an IP address.
  [[nodiscard]] bool hasAddress() const;
  /// The host as it stands in a request's header: with brackets around an IPv6 address, and the
  /// port unless it is the usual one.
  [[nodiscard]] std::string hostHeader() const;
};

/// The URL with path components appended, whether or not it ends with a slash. `components` holds
/// URL-safe characters only.
[[nodiscard]] std::string appendingPath(std::string_view url, std::string_view components);

}  // namespace orvik
