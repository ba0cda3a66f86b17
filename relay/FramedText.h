#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "core/values/SecretBytes.h"

namespace orvik::relay {

/// One text message with the WebSocket frame around it, which is made once for all connections
/// that it goes to.
class FramedText {
 public:
  /// Bytes before the text that a header may take.
  static constexpr std::size_t room = 10;

  /// Takes `room` bytes of any content and the text behind them.
  explicit FramedText(std::string roomAndText);

  [[nodiscard]] std::string_view text() const noexcept {
    return std::string_view(bytes).substr(room);
  }
  /// The text as it goes over the wire.
  [[nodiscard]] std::string_view frame() const noexcept {
    return std::string_view(bytes).substr(start);
  }
  /// Overwrites the text, which was a secret.
  void forget() noexcept { wipe(bytes.data(), bytes.size()); }

  /// Bytes of the text.
  [[nodiscard]] std::size_t size() const noexcept { return bytes.size() - room; }

 private:
  std::string bytes;
  std::uint8_t start;
};

/// One message, shared by all connections that it goes to.
using SharedText = std::shared_ptr<const FramedText>;

[[nodiscard]] SharedText framedText(std::string_view text);

/// Operation codes of a frame (RFC 6455, section 5.2).
enum class FrameKind : std::uint8_t {
  continuation = 0x0,
  text = 0x1,
  binary = 0x2,
  close = 0x8,
  ping = 0x9,
  pong = 0xA
};

/// Writes the header of a whole frame that is not masked into the bytes before `end`, and gives
/// how many it took: 10 at most.
std::uint8_t writeFrameHeader(FrameKind kind, std::size_t size, char* end);

/// A whole control frame with at most 125 bytes.
[[nodiscard]] std::string controlFrame(FrameKind kind, std::string_view content);
/// A close frame with its code, and words for people of at most 123 bytes.
[[nodiscard]] std::string closeFrame(std::uint16_t code, std::string_view words);

}  // namespace orvik::relay
