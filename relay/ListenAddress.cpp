#include "relay/ListenAddress.h"

#include <charconv>

namespace orvik::relay {

std::optional<asio::ip::tcp::endpoint> listenAddress(std::string_view text) {
  const std::size_t colon = text.rfind(':');
  if (colon == std::string_view::npos) {
    return std::nullopt;
  }
  const std::string_view portText = text.substr(colon + 1);
  std::uint16_t port = 0;
  const auto [end, failure] =
      std::from_chars(portText.data(), portText.data() + portText.size(), port);
  if (failure != std::errc() || end != portText.data() + portText.size()) {
    return std::nullopt;
  }
  std::string_view host = text.substr(0, colon);
  const bool isBracketed = host.starts_with('[') && host.ends_with(']');
  if (isBracketed) {
    host = host.substr(1, host.size() - 2);
  }
  boost::system::error_code error;
  const asio::ip::address address = asio::ip::make_address(std::string(host), error);
  // Without brackets nobody knows where an IPv6 address ends.
  if (error || address.is_v6() != isBracketed) {
    return std::nullopt;
  }
  return asio::ip::tcp::endpoint(address, port);
}

}  // namespace orvik::relay
