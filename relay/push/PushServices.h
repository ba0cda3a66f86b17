#pragma once

#include <boost/asio/ip/address.hpp>

#include <optional>
#include <string>
#include <vector>

#include "relay/push/Endpoint.h"

namespace orvik::relay {

/// The push services that the relay connects to, and no others: a subscription is an address that a
/// stranger has chosen.
class PushServices {
 public:
  /// Those of the well-known browsers.
  [[nodiscard]] static const std::vector<std::string>& wellKnown();

  /// Each is HOST, *.HOST for every name below one, or HOST:PORT. Throws std::runtime_error, with
  /// one line, for what is none of these.
  explicit PushServices(const std::vector<std::string>& names);

  /// Which of them an endpoint belongs to, from 0.
  [[nodiscard]] std::optional<std::size_t> find(const Endpoint& endpoint) const;
  [[nodiscard]] std::size_t size() const noexcept { return services.size(); }
  /// Whether the service may be on this machine or the local network: where its port is named, the
  /// operator knows where it is.
  [[nodiscard]] bool mayBeLocal(std::size_t service) const;
  /// Whether the service is one host, and not all below one.
  [[nodiscard]] bool isOneHost(std::size_t service) const;

 private:
  struct Service {
    std::string host;
    bool isBelow = false;
    std::optional<std::uint16_t> port{};
  };

  std::vector<Service> services;
};

/// Whether the address is one of the internet: neither this machine's, nor of a local network, nor
/// one that no single host has.
[[nodiscard]] bool isPublic(const boost::asio::ip::address& address);

}  // namespace orvik::relay
