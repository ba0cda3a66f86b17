#pragma once

#include <boost/asio/ip/address.hpp>

#include <map>
#include <mutex>
#include <optional>

#include "relay/CloseReason.h"
#include "relay/Limits.h"

namespace orvik::relay {

namespace asio = boost::asio;

/// Decides which new connections are let in, by how many there are already, in total and from
/// one place: an IPv4 address, or an IPv6 network of 64 bits, which is what one customer has.
/// Connections without an address, as they come through another program, count in total only.
/// May be used from any thread.
class Admission {
 public:
  using Address = std::optional<asio::ip::address>;

  explicit Admission(const Limits& limits) : limits(limits) {}

  /// Counts a new connection unless a bound is reached: then says which.
  [[nodiscard]] std::optional<CloseReason> enter(const Address& address);
  /// A counted connection without an address has one after all. Says which of the address's bounds
  /// is reached, and then nothing has changed.
  [[nodiscard]] std::optional<CloseReason> locate(const asio::ip::address& address);
  /// A counted connection has presented its token. Called once for each at most.
  void authenticate(const Address& address);
  /// A counted connection has ended.
  void leave(const Address& address, bool wasAuthenticated);
  /// Whether one more identifier may be claimed from an address. Counts as one.
  [[nodiscard]] bool mayClaim(const Address& address, Instant now);

  /// Whether as many connections have not authenticated yet as may be.
  [[nodiscard]] bool isCrowded() const;

 private:
  struct Count {
    std::size_t all = 0;
    std::size_t unauthenticated = 0;
  };

  Limits limits;
  mutable std::mutex lock;
  Count total;
  /// Counts one more there, unless a bound is reached.
  [[nodiscard]] bool enterPlace(const asio::ip::address& address);
  /// Forgets the half of the places that have claimed least: nobody is refused for what others do.
  void forgetClaims(Instant now);

  /// Only places with connections, so never more than there are connections.
  std::map<asio::ip::address, Count> places;
  /// Places that have claimed something lately.
  std::map<asio::ip::address, RateLimit> claims;
};

}  // namespace orvik::relay
