#pragma once

#include "relay/RateLimit.h"
#include "relay/Switchboard.h"

namespace orvik::relay {

/// One WebSocket connection's side of the protocol, from its upgrade on: the token comes first
/// and in time, messages keep to their rate, silence ends it. Knows the rules and no socket.
class Session {
 public:
  /// `peer`, `switchboard` and `limits` live longer than the session.
  Session(const Target& target, Peer& peer, Switchboard& switchboard, const Limits& limits,
          Instant now);

  /// A whole message came from the peer.
  void received(bool isText, const SharedText& message, Instant now);
  /// A control frame came from the peer: it is alive.
  void receivedControlFrame(Instant now) { lastReceived = now; }
  /// Closes the peer when it has let a deadline pass.
  void check(Instant now) const;
  /// The connection has ended, or is being closed; lost when nobody knows what the peer took in
  /// since it was last heard. Harmless when repeated.
  void ended(Instant now, bool isLost);

  /// Whether a token was presented that was not refused.
  [[nodiscard]] bool isAuthenticated() const noexcept { return authenticated; }
  /// The longest message that the peer may send now, and how many bytes in all.
  [[nodiscard]] std::size_t messageLimit() const;
  [[nodiscard]] Rate byteRate() const;

 private:
  void authenticate(std::string_view message, bool isText, Instant now);
  void receivedFromPhone(std::string_view message);
  [[nodiscard]] bool isAcceptedMac() const;

  Target target;
  Peer& peer;
  Switchboard& switchboard;
  const Limits& limits;
  RateLimit messages;
  bool authenticated = false;
  Instant began;
  Instant lastReceived;
};

}  // namespace orvik::relay
