#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>

#include "relay/CloseReason.h"
#include "relay/FramedText.h"

namespace orvik::relay {

/// What a client has sent.
struct FrameEvent {
  enum class Kind { text, binary, ping, pong, close, failure };
  Kind kind;
  /// Of a text or binary message: all of it.
  std::shared_ptr<FramedText> message{};
  /// Of a control frame.
  std::string content{};
  /// Of a failure, after which nothing more can be read: not a proper frame, not UTF-8, too long.
  CloseReason reason = CloseReason::protocolError;
};

/// Reads a client's frames (RFC 6455, the server's side, without extensions) out of bytes that are
/// cut anywhere. Knows no socket. What it keeps between two calls are the beginning of a header and
/// the message that is not complete yet, whose memory grows as it comes, not as a header promises.
class FrameReader {
 public:
  /// Takes bytes from the front of `input` up to the end of the next event and gives it; nothing
  /// when all are taken and there is none yet. The bytes are changed. A message may have at most
  /// `longest` bytes.
  [[nodiscard]] std::optional<FrameEvent> next(std::span<char>& input, std::size_t longest);

  /// Bytes of the message that is not complete yet.
  [[nodiscard]] std::size_t unfinished() const noexcept { return message.size() + control.size(); }

 private:
  static constexpr std::size_t longestHeader = 14;

  [[nodiscard]] bool readHeader(std::span<char>& input);
  [[nodiscard]] std::optional<CloseReason> checkHeader(std::size_t longest);
  [[nodiscard]] std::optional<FrameEvent> finishFrame();
  [[nodiscard]] std::optional<FrameEvent> finishControlFrame();
  [[nodiscard]] FrameKind kind() const noexcept {
    return static_cast<FrameKind>(header[0] & 0x0FU);
  }
  [[nodiscard]] bool isControl() const noexcept { return (header[0] & 0x08U) != 0; }
  [[nodiscard]] bool isLast() const noexcept { return (header[0] & 0x80U) != 0; }

  /// `FramedText::room` bytes and what of a message has come; empty between two messages.
  std::string message;
  std::string control;
  std::uint64_t remaining = 0;
  std::array<std::uint8_t, longestHeader> header{};
  std::uint8_t headerSize = 0;
  /// Where in the mask the next byte stands.
  std::uint8_t maskPlace = 0;
  bool isHeaderRead = false;
  /// Of the message that has begun.
  FrameKind messageKind = FrameKind::continuation;
};

// One stands in each idle connection.
static_assert(sizeof(FrameReader) <= 96);

}  // namespace orvik::relay
