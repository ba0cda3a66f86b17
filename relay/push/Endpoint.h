#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvik::relay {

/// What the URL of a subscription says of where it leads.
struct Endpoint {
  /// In lower case; an address of IPv6 in brackets.
  std::string host;
  std::uint16_t port = 443;

  /// "https://host", with the port when it is another than 443: whom a push service's tokens are
  /// for (RFC 8292, section 2).
  [[nodiscard]] std::string origin() const;

  /// Reads an https URL of at most `longest` bytes. Nothing when the text is anything else, names a
  /// user, or has a fragment or a host that is written with escapes.
  [[nodiscard]] static std::optional<Endpoint> of(std::string_view url, std::size_t longest);

  bool operator==(const Endpoint&) const = default;
};

}  // namespace orvik::relay
