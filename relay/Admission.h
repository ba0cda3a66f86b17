#pragma once

#include <boost/asio/ip/address.hpp>

#include <map>

#include "relay/Limits.h"

namespace orvik::relay {

namespace asio = boost::asio;

/// Decides which new connections are let in, by how many there are already, in total and from
/// one place: an IPv4 address, or an IPv6 network of 64 bits, which is what one customer has.
class Admission {
 public:
  explicit Admission(const Limits& limits) : limits(limits) {}

  /// Counts a new connection unless a bound is reached, and says whether it may stay.
  [[nodiscard]] bool enter(const asio::ip::address& address);
  /// A counted connection has presented its token. Called once for each at most.
  void authenticate(const asio::ip::address& address);
  /// A counted connection has ended.
  void leave(const asio::ip::address& address, bool wasAuthenticated);

 private:
  struct Count {
    std::size_t all = 0;
    std::size_t unauthenticated = 0;
  };

  Limits limits;
  Count total;
  /// Only places with connections, so never more than there are connections.
  std::map<asio::ip::address, Count> places;
};

}  // namespace orvik::relay
