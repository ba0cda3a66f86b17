#include "relay/FramedText.h"

#include <algorithm>

namespace orvik::relay {

namespace {

constexpr std::uint8_t wholeFrame = 0x80;
/// Lengths above this one stand in 2 or 8 bytes of their own.
constexpr std::size_t shortLength = 125;
constexpr std::uint8_t twoBytes = 126;
constexpr std::uint8_t eightBytes = 127;

}  // namespace

std::uint8_t writeFrameHeader(FrameKind kind, std::size_t size, char* end) {
  const int lengthBytes = size <= shortLength ? 0 : size <= UINT16_MAX ? 2 : 8;
  std::size_t rest = size;
  for (int i = 0; i < lengthBytes; ++i, rest >>= 8U) {
    *--end = static_cast<char>(rest & 0xFFU);
  }
  *--end = static_cast<char>(lengthBytes == 0   ? static_cast<std::uint8_t>(size)
                             : lengthBytes == 2 ? twoBytes
                                                : eightBytes);
  *--end = static_cast<char>(wholeFrame | static_cast<std::uint8_t>(kind));
  return static_cast<std::uint8_t>(2 + lengthBytes);
}

FramedText::FramedText(std::string roomAndText)
    : bytes(std::move(roomAndText)),
      start(static_cast<std::uint8_t>(
          room - writeFrameHeader(FrameKind::text, size(), bytes.data() + room))) {}

SharedText framedText(std::string_view text) {
  std::string bytes;
  bytes.reserve(FramedText::room + text.size());
  bytes.append(FramedText::room, '\0').append(text);
  return std::make_shared<const FramedText>(std::move(bytes));
}

std::string controlFrame(FrameKind kind, std::string_view content) {
  std::string frame(2, '\0');
  writeFrameHeader(kind, content.size(), frame.data() + 2);
  return frame.append(content);
}

std::string closeFrame(std::uint16_t code, std::string_view words) {
  std::string content = {static_cast<char>(code >> 8U), static_cast<char>(code & 0xFFU)};
  return controlFrame(FrameKind::close, content.append(words));
}

}  // namespace orvik::relay
