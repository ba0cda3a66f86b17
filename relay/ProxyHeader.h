#pragma once

#include <boost/asio/ip/address.hpp>

#include <optional>
#include <string_view>

namespace orvik::relay {

namespace asio = boost::asio;

/// What a server in front says of a connection before it passes it on: the PROXY protocol,
/// version 2.
struct ProxyHeader {
  /// How many bytes it took.
  std::size_t size = 0;
  /// The client's. Nothing when the server in front speaks for itself, or the client has none.
  std::optional<asio::ip::address> address;

  /// Far above any; what a server in front adds beside addresses is skipped.
  static constexpr std::size_t longest = 2048;

  enum class Outcome { incomplete, header, bad };
  /// Reads the header at the front of the bytes into `*this`. It is bad as soon as the bytes that
  /// are there can be the beginning of none.
  [[nodiscard]] Outcome read(std::string_view bytes);
};

}  // namespace orvik::relay
