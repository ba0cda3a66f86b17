#pragma once

#include "relay/CloseReason.h"
#include "relay/FramedText.h"

namespace orvik::relay {

/// The other end of a connection, a Mac or a phone. All operations return at once and never call
/// back into their caller.
class Peer {
 public:
  virtual ~Peer() = default;

  /// Sends a text message after those before it.
  virtual void send(SharedText message) = 0;
  /// Begins to close; nothing more is sent. Harmless when repeated: the first reason counts.
  virtual void close(CloseReason reason) = 0;
  /// Whether whoever is there may claim one more identifier. Counts as one.
  [[nodiscard]] virtual bool mayClaim() = 0;
};

}  // namespace orvik::relay
