#include "relay/ListenAddress.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <netinet/in.h>
#include <sys/un.h>

#include <charconv>
#include <cstring>
#include <sstream>

namespace orvik::relay {

namespace {

using asio::ip::tcp;
using SocketAddress = asio::generic::stream_protocol::endpoint;

constexpr std::string_view pathMark = "unix:";

std::optional<tcp::endpoint> readTCP(std::string_view text) {
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
  return tcp::endpoint(address, port);
}

std::optional<tcp::endpoint> tcpOf(const SocketAddress& endpoint) {
  const int family = endpoint.protocol().family();
  if (family != AF_INET && family != AF_INET6) {
    return std::nullopt;
  }
  tcp::endpoint tcpEndpoint(family == AF_INET ? tcp::v4() : tcp::v6(), 0);
  std::memcpy(tcpEndpoint.data(), endpoint.data(), tcpEndpoint.size());
  return tcpEndpoint;
}

std::string textOf(const tcp::endpoint& endpoint) {
  std::ostringstream text;
  text << endpoint;
  return text.str();
}

}  // namespace

std::optional<ListenAddress> ListenAddress::read(std::string_view text) {
  if (text.starts_with(pathMark)) {
    const std::string_view path = text.substr(pathMark.size());
    if (path.empty() || path.size() >= sizeof(sockaddr_un::sun_path)) {
      return std::nullopt;
    }
    return ListenAddress{asio::local::stream_protocol::endpoint(std::string(path)),
                         std::string(text)};
  }
  const auto endpoint = readTCP(text);
  return endpoint ? std::optional(ListenAddress{*endpoint, textOf(*endpoint)}) : std::nullopt;
}

std::optional<std::string> ListenAddress::path() const {
  return text.starts_with(pathMark) ? std::optional(text.substr(pathMark.size())) : std::nullopt;
}

bool ListenAddress::isLocal() const {
  const auto address = addressOf(endpoint);
  return !address || address->is_loopback();
}

std::uint16_t ListenAddress::port() const {
  const auto tcpEndpoint = tcpOf(endpoint);
  return tcpEndpoint ? tcpEndpoint->port() : std::uint16_t{0};
}

std::optional<asio::ip::address> addressOf(const SocketAddress& endpoint) {
  const auto tcpEndpoint = tcpOf(endpoint);
  return tcpEndpoint ? std::optional(tcpEndpoint->address()) : std::nullopt;
}

ListenAddress withPortOf(const SocketAddress& endpoint, const ListenAddress& address) {
  const auto tcpEndpoint = tcpOf(endpoint);
  return tcpEndpoint ? ListenAddress{*tcpEndpoint, textOf(*tcpEndpoint)} : address;
}

}  // namespace orvik::relay
