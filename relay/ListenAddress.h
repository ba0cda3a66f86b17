#pragma once

#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/ip/address.hpp>

#include <optional>
#include <string>
#include <string_view>

namespace orvik::relay {

namespace asio = boost::asio;

/// Where to listen: "127.0.0.1:47443" or "[::1]:47443", a numeric address and a port, of which 0
/// stands for one that the system chooses; or "unix:PATH", a local socket.
struct ListenAddress {
  asio::generic::stream_protocol::endpoint endpoint;
  /// As it was read; an address with the port that was chosen.
  std::string text;

  /// Nothing when the text is neither.
  [[nodiscard]] static std::optional<ListenAddress> read(std::string_view text);

  /// The path of a local socket, or nothing.
  [[nodiscard]] std::optional<std::string> path() const;
  /// Whether only this machine can reach it.
  [[nodiscard]] bool isLocal() const;
  [[nodiscard]] std::uint16_t port() const;
};

/// The address of the other end of a connection; nothing where it has none.
[[nodiscard]] std::optional<asio::ip::address> addressOf(
    const asio::generic::stream_protocol::endpoint& endpoint);

/// The same address with another endpoint's port, as the system has chosen it.
[[nodiscard]] ListenAddress withPortOf(const asio::generic::stream_protocol::endpoint& endpoint,
                                       const ListenAddress& address);

}  // namespace orvik::relay
