#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "core/connection/WebSocketTask.h"

namespace orvik {

/// Further close codes of the relay.
namespace closeCode {
/// More was sent than the relay lets through.
inline constexpr std::uint16_t rateExceeded = 1008;
/// A limit is reached, or the other side was too slow: worth another attempt later.
inline constexpr std::uint16_t tryAgainLater = 1013;
/// The same Mac has connected again.
inline constexpr std::uint16_t replaced = 4000;
/// No token came, or not as the first message.
inline constexpr std::uint16_t unauthenticated = 4400;
}  // namespace closeCode

namespace relay {

/// One message, shared by all connections that it goes to.
using SharedText = std::shared_ptr<const std::string>;

/// The other end of a connection, a Mac or a phone. Both operations return at once and never call
/// back into their caller.
class Peer {
 public:
  virtual ~Peer() = default;

  /// Sends a text message after those before it.
  virtual void send(SharedText message) = 0;
  /// Begins to close; nothing more is sent. Harmless when repeated: the first code counts.
  virtual void close(std::uint16_t code, std::string_view reason) = 0;
};

}  // namespace relay
}  // namespace orvik
