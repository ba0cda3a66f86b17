#pragma once

#include <cstdint>
#include <string_view>

#include "relay/Target.h"

namespace orvik::relay {

/// One run of one relay: random, below 2^53, and another after each start.
using RelayID = std::uint64_t;

/// The other relays of a cluster, for what has to be said to those of them that serve the same
/// identifier. Nothing that is said is sure to arrive, but what arrives from one relay about one
/// identifier does so in its order. All operations are called on any thread and return at once;
/// none calls back before it returns. Those of different identifiers may be called at once.
class Neighbours {
 public:
  virtual ~Neighbours() = default;

  [[nodiscard]] virtual RelayID self() const noexcept = 0;
  /// From now on this relay hears what others tell about the identifier. What it tells after this
  /// reaches nobody who could answer before the answer could be heard.
  virtual void join(const Identifier& identifier) = 0;
  /// Never called without `join` before it.
  virtual void leave(const Identifier& identifier) = 0;
  /// Tells all other relays that have joined the identifier; lost while there is no connection.
  virtual void tell(const Identifier& identifier, std::string_view message) = 0;
};

/// What comes from the other relays. Called on the thread that serves the identifier, and what
/// concerns no identifier on each thread that serves some, all in the order in which it happened.
class NeighbourListener {
 public:
  virtual ~NeighbourListener() = default;

  /// Another relay has told something about an identifier. Never one's own words. The message is as
  /// a stranger may have sent it, and no longer than `RelayMessage::longest`.
  virtual void heard(const Identifier& identifier, RelayID from, std::string_view message) = 0;
  /// Nothing has been heard of a relay, not even its sign of life, for as long as
  /// `neighbourTime` says.
  virtual void gone(RelayID relay) = 0;
  /// Some of what a relay has said has not been heard. `back` follows.
  virtual void missed(RelayID relay) = 0;
  /// This relay hears nobody any more, or has to take it that nobody hears it.
  virtual void cutOff() = 0;
  /// Others may have missed what this relay has told, and it them: a connection is new, or a relay
  /// that had gone is heard again. Comes before what that one says. Everything is said again, some
  /// places at each `expire`.
  virtual void back() = 0;
};

}  // namespace orvik::relay
