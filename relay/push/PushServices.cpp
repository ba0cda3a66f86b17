#include "relay/push/PushServices.h"

#include <boost/asio/ip/network_v4.hpp>
#include <boost/asio/ip/network_v6.hpp>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace orvik::relay {

namespace ip = boost::asio::ip;

namespace {

/// What is not one host's on the internet (IANA's registries of special-purpose addresses).
bool isPublicV4(const ip::address_v4& address) {
  static const std::array special{
      ip::make_network_v4("0.0.0.0/8"),      ip::make_network_v4("10.0.0.0/8"),
      ip::make_network_v4("100.64.0.0/10"),  ip::make_network_v4("127.0.0.0/8"),
      ip::make_network_v4("169.254.0.0/16"), ip::make_network_v4("172.16.0.0/12"),
      ip::make_network_v4("192.0.0.0/24"),   ip::make_network_v4("192.0.2.0/24"),
      ip::make_network_v4("192.88.99.0/24"), ip::make_network_v4("192.168.0.0/16"),
      ip::make_network_v4("198.18.0.0/15"),  ip::make_network_v4("198.51.100.0/24"),
      ip::make_network_v4("203.0.113.0/24"), ip::make_network_v4("224.0.0.0/4"),
      ip::make_network_v4("240.0.0.0/4"),
  };
  return std::ranges::none_of(special, [&](const ip::network_v4& network) {
    return ip::network_v4(address, network.prefix_length()).network() == network.network();
  });
}

bool isWithin(const ip::address_v6& address, const ip::network_v6& network) {
  return ip::network_v6(address, network.prefix_length()).network() == network.network();
}

bool isPublicV6(const ip::address_v6& address) {
  const ip::address_v6::bytes_type bytes = address.to_bytes();
  const auto last4 = [&bytes] {
    return ip::address_v4({bytes[12], bytes[13], bytes[14], bytes[15]});
  };
  // Where a network has IPv6 alone, IPv4 is reached under these (RFC 6052).
  static const ip::network_v6 translated = ip::make_network_v6("64:ff9b::/96");
  if (address.is_v4_mapped() || isWithin(address, translated)) {
    return isPublicV4(last4());
  }
  static const ip::network_v6 global = ip::make_network_v6("2000::/3");
  // Tunnels to any IPv4 address, and documentation.
  static const std::array special{ip::make_network_v6("2001::/23"),
                                  ip::make_network_v6("2001:db8::/32"),
                                  ip::make_network_v6("2002::/16")};
  return isWithin(address, global) &&
         std::ranges::none_of(
             special, [&](const ip::network_v6& network) { return isWithin(address, network); });
}

[[noreturn]] void refuse(const std::string& name) {
  throw std::runtime_error("--push-service: \"" + name +
                           "\" is not of the form HOST, *.HOST or HOST:PORT");
}

}  // namespace

const std::vector<std::string>& PushServices::wellKnown() {
  static const std::vector<std::string> names{"fcm.googleapis.com", "*.push.services.mozilla.com",
                                              "*.push.apple.com", "*.notify.windows.com"};
  return names;
}

PushServices::PushServices(const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    const bool isBelow = name.starts_with("*.");
    const std::string rest = name.substr(isBelow ? 2 : 0);
    const auto endpoint = Endpoint::of("https://" + rest, rest.size() + 8);
    const bool hasPort = rest.find(':', rest.rfind(']') + 1) != std::string::npos;
    if (!endpoint || rest.find('/') != std::string::npos || (isBelow && hasPort)) {
      refuse(name);
    }
    services.push_back(
        {endpoint->host, isBelow, hasPort ? std::optional(endpoint->port) : std::nullopt});
  }
}

std::optional<std::size_t> PushServices::find(const Endpoint& endpoint) const {
  const auto service = std::ranges::find_if(services, [&endpoint](const Service& each) {
    constexpr std::uint16_t httpsPort = 443;
    return endpoint.port == each.port.value_or(httpsPort) &&
           (each.isBelow ? endpoint.host.ends_with("." + each.host) : endpoint.host == each.host);
  });
  return service == services.end()
             ? std::nullopt
             : std::optional(static_cast<std::size_t>(std::distance(services.begin(), service)));
}

bool PushServices::mayBeLocal(std::size_t service) const {
  return services.at(service).port.has_value();
}

bool PushServices::isOneHost(std::size_t service) const { return !services.at(service).isBelow; }

bool isPublic(const ip::address& address) {
  return address.is_v4() ? isPublicV4(address.to_v4()) : isPublicV6(address.to_v6());
}

}  // namespace orvik::relay
