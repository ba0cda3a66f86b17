#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvik::load {

/// WebSocket's kinds of frames (RFC 6455, section 5.2).
enum class Opcode : std::uint8_t {
  continuation = 0,
  text = 1,
  binary = 2,
  close = 8,
  ping = 9,
  pong = 10
};

using Mask = std::array<char, 4>;

/// One frame as it stands in a stream.
struct Frame {
  Opcode opcode;
  bool isFinal;
  std::optional<Mask> mask;
  std::size_t headerSize;
  std::uint64_t payloadSize;

  [[nodiscard]] std::uint64_t size() const { return headerSize + payloadSize; }
};

/// The frame whose header the bytes begin with; nothing while the header is not complete. Whether
/// the payload is there, the caller compares.
[[nodiscard]] std::optional<Frame> frameAt(std::string_view bytes);

/// Masks, or unmasks.
void applyMask(char* bytes, std::size_t count, const Mask& mask);

/// Appends the header of a final frame.
void appendHeader(std::string& out, Opcode opcode, std::size_t payloadSize,
                  const std::optional<Mask>& mask);

/// The answer to an upgrade's key: base64 of the SHA-1 that RFC 6455 asks for.
[[nodiscard]] std::string acceptKey(std::string_view key);

}  // namespace orvik::load
