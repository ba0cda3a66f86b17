#include "bench/load/Frames.h"

#include <openssl/sha.h>

#include <algorithm>
#include <cstring>

#include "core/values/Base64.h"

namespace orvik::load {
namespace {

constexpr std::size_t lengthOf16Bits = 126;
constexpr std::size_t lengthOf64Bits = 127;

std::uint64_t bigEndian(std::string_view bytes) {
  std::uint64_t number = 0;
  for (const char byte : bytes) {
    number = (number << 8) | static_cast<unsigned char>(byte);
  }
  return number;
}

}  // namespace

std::optional<Frame> frameAt(std::string_view bytes) {
  if (bytes.size() < 2) {
    return std::nullopt;
  }
  const auto first = static_cast<unsigned char>(bytes[0]);
  const auto second = static_cast<unsigned char>(bytes[1]);
  std::uint64_t length = second & 0x7FU;
  const std::size_t lengthBytes = length == lengthOf16Bits ? 2 : length == lengthOf64Bits ? 8 : 0;
  const bool isMasked = (second & 0x80U) != 0;
  const std::size_t headerSize = 2 + lengthBytes + (isMasked ? 4 : 0);
  if (bytes.size() < headerSize) {
    return std::nullopt;
  }
  if (lengthBytes > 0) {
    length = bigEndian(bytes.substr(2, lengthBytes));
  }
  std::optional<Mask> mask;
  if (isMasked) {
    mask.emplace();
    std::copy_n(bytes.data() + 2 + lengthBytes, mask->size(), mask->data());
  }
  return Frame{static_cast<Opcode>(first & 0x0FU), (first & 0x80U) != 0, mask, headerSize, length};
}

void applyMask(char* bytes, std::size_t count, const Mask& mask) {
  std::uint64_t pattern = 0;
  std::memcpy(&pattern, mask.data(), mask.size());
  std::memcpy(reinterpret_cast<char*>(&pattern) + mask.size(), mask.data(), mask.size());
  std::size_t at = 0;
  for (; at + sizeof pattern <= count; at += sizeof pattern) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes + at, sizeof word);
    word ^= pattern;
    std::memcpy(bytes + at, &word, sizeof word);
  }
  for (; at < count; ++at) {
    bytes[at] = static_cast<char>(bytes[at] ^ mask[at % mask.size()]);
  }
}

void appendHeader(std::string& out, Opcode opcode, std::size_t payloadSize,
                  const std::optional<Mask>& mask) {
  const unsigned maskBit = mask ? 0x80U : 0U;
  out += static_cast<char>(0x80U | static_cast<unsigned>(opcode));
  std::size_t lengthBytes = 0;
  if (payloadSize < lengthOf16Bits) {
    out += static_cast<char>(maskBit | static_cast<unsigned>(payloadSize));
  } else {
    lengthBytes = payloadSize <= 0xFFFFU ? 2 : 8;
    out += static_cast<char>(maskBit | (lengthBytes == 2 ? lengthOf16Bits : lengthOf64Bits));
  }
  for (std::size_t shift = lengthBytes * 8; shift > 0; shift -= 8) {
    out += static_cast<char>((payloadSize >> (shift - 8)) & 0xFFU);
  }
  if (mask) {
    out.append(mask->data(), mask->size());
  }
}

std::string acceptKey(std::string_view key) {
  const std::string text = std::string(key) + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
  std::array<std::uint8_t, SHA_DIGEST_LENGTH> digest{};
  SHA1(reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest.data());
  return base64(ByteView(digest.data(), digest.size()));
}

}  // namespace orvik::load
