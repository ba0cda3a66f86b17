#include "relay/FrameReader.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "core/values/Text.h"

namespace orvik::relay {

namespace {

constexpr std::size_t maskSize = 4;
constexpr std::size_t longestControl = 125;
/// For as many bytes as this a header's word is taken: most envelopes are shorter.
constexpr std::size_t believed = 4096;

FrameEvent failure(CloseReason reason) {
  return {.kind = FrameEvent::Kind::failure, .reason = reason};
}

/// Header bytes that are known to be needed when this many are there.
std::size_t neededHeader(std::span<const std::uint8_t> header) {
  if (header.size() < 2) {
    return 2;
  }
  const unsigned length = header[1] & 0x7FU;
  const std::size_t lengthBytes = length == 126 ? 2 : length == 127 ? 8 : 0;
  // Who masks nothing is refused, and need not send more for that.
  return (header[1] & 0x80U) == 0 ? 2 : 2 + lengthBytes + maskSize;
}

/// Takes the mask off; `place` is where in it the first byte stands.
void unmask(std::span<char> bytes, const std::uint8_t* mask, std::size_t place) {
  std::array<char, 8> turned{};
  for (std::size_t i = 0; i < turned.size(); ++i) {
    turned.at(i) = static_cast<char>(mask[(place + i) % maskSize]);
  }
  std::uint64_t word = 0;
  std::memcpy(&word, turned.data(), sizeof word);
  std::size_t i = 0;
  for (; i + sizeof word <= bytes.size(); i += sizeof word) {
    std::uint64_t part = 0;
    std::memcpy(&part, bytes.data() + i, sizeof part);
    part ^= word;
    std::memcpy(bytes.data() + i, &part, sizeof part);
  }
  for (std::size_t j = 0; i < bytes.size(); ++i, ++j) {
    bytes[i] = static_cast<char>(bytes[i] ^ turned.at(j));
  }
}

/// Codes that may stand in a close frame (RFC 6455, section 7.4, and the registry since).
bool mayBeSent(unsigned code) {
  return (code >= 1000 && code <= 1014 && code != 1004 && code != 1005 && code != 1006) ||
         (code >= 3000 && code <= 4999);
}

}  // namespace

std::optional<FrameEvent> FrameReader::next(std::span<char>& input, std::size_t longest) {
  for (;;) {
    if (!isHeaderRead) {
      if (!readHeader(input)) {
        return std::nullopt;
      }
      if (const auto reason = checkHeader(longest)) {
        return failure(*reason);
      }
    }
    const auto taken = static_cast<std::size_t>(std::min<std::uint64_t>(remaining, input.size()));
    const std::span<char> piece = input.first(taken);
    input = input.subspan(taken);
    unmask(piece, header.data() + headerSize - maskSize, maskPlace);
    maskPlace = static_cast<std::uint8_t>((maskPlace + taken) % maskSize);
    remaining -= taken;
    std::string& to = isControl() ? control : message;
    if (to.empty() && !isControl()) {
      to.reserve(FramedText::room + taken + std::min<std::size_t>(remaining, believed));
      to.append(FramedText::room, '\0');
    }
    to.append(piece.data(), piece.size());
    if (remaining > 0) {
      return std::nullopt;
    }
    isHeaderRead = false;
    headerSize = 0;
    if (auto event = finishFrame()) {
      return event;
    }
  }
}

bool FrameReader::readHeader(std::span<char>& input) {
  for (;;) {
    const std::size_t needed = neededHeader(std::span(header).first(headerSize));
    const std::size_t taken = std::min(needed - headerSize, input.size());
    std::memcpy(header.data() + headerSize, input.data(), taken);
    input = input.subspan(taken);
    headerSize = static_cast<std::uint8_t>(headerSize + taken);
    if (headerSize < needed) {
      return false;
    }
    if (neededHeader(std::span(header).first(headerSize)) == needed) {
      return true;
    }
  }
}

std::optional<CloseReason> FrameReader::checkHeader(std::size_t longest) {
  const unsigned shortLength = header[1] & 0x7FU;
  const std::size_t lengthBytes = shortLength == 126 ? 2 : shortLength == 127 ? 8 : 0;
  remaining = lengthBytes == 0 ? shortLength : 0;
  for (std::size_t i = 0; i < lengthBytes; ++i) {
    remaining = (remaining << 8U) | header.at(2 + i);
  }
  const bool isMasked = (header[1] & 0x80U) != 0;
  const bool hasExtension = (header[0] & 0x70U) != 0;
  const bool isShortest = lengthBytes == 0 || (lengthBytes == 2 && remaining > longestControl) ||
                          (lengthBytes == 8 && remaining > UINT16_MAX);
  if (!isMasked || hasExtension || !isShortest) {
    return CloseReason::protocolError;
  }
  const bool isUnderWay = messageKind != FrameKind::continuation;
  switch (kind()) {
    case FrameKind::close:
    case FrameKind::ping:
    case FrameKind::pong:
      if (!isLast() || remaining > longestControl) {
        return CloseReason::protocolError;
      }
      break;
    case FrameKind::text:
    case FrameKind::binary:
    case FrameKind::continuation:
      if (isUnderWay != (kind() == FrameKind::continuation)) {
        return CloseReason::protocolError;
      }
      if (remaining >
          longest - std::min(longest, message.empty() ? 0 : message.size() - FramedText::room)) {
        return CloseReason::messageTooLong;
      }
      messageKind = isUnderWay ? messageKind : kind();
      break;
    default:
      return CloseReason::protocolError;
  }
  isHeaderRead = true;
  maskPlace = 0;
  return std::nullopt;
}

std::optional<FrameEvent> FrameReader::finishFrame() {
  if (isControl()) {
    return finishControlFrame();
  }
  if (!isLast()) {
    return std::nullopt;
  }
  const bool isText = std::exchange(messageKind, FrameKind::continuation) == FrameKind::text;
  if (isText && !isValidUTF8(std::string_view(message).substr(FramedText::room))) {
    return failure(CloseReason::notUTF8);
  }
  return FrameEvent{.kind = isText ? FrameEvent::Kind::text : FrameEvent::Kind::binary,
                    .message = std::make_shared<FramedText>(std::exchange(message, std::string()))};
}

std::optional<FrameEvent> FrameReader::finishControlFrame() {
  std::string content = std::exchange(control, std::string());
  if (kind() != FrameKind::close) {
    return FrameEvent{
        .kind = kind() == FrameKind::ping ? FrameEvent::Kind::ping : FrameEvent::Kind::pong,
        .content = std::move(content)};
  }
  if (!content.empty()) {
    const auto byte = [&content](std::size_t i) { return static_cast<std::uint8_t>(content[i]); };
    if (content.size() < 2 || !mayBeSent((unsigned{byte(0)} << 8U) | byte(1))) {
      return failure(CloseReason::protocolError);
    }
    if (!isValidUTF8(std::string_view(content).substr(2))) {
      return failure(CloseReason::notUTF8);
    }
  }
  return FrameEvent{.kind = FrameEvent::Kind::close, .content = std::move(content)};
}

}  // namespace orvik::relay
