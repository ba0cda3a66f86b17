#include "core/values/Base64.h"

#include <openssl/evp.h>

#include <array>
#include <cstring>

namespace orvik {

namespace {

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

/// Two characters for every 12 bits: half the look-ups of one for every 6.
constexpr auto characterPairs = [] {
  std::array<std::array<char, 2>, 4096> pairs{};
  for (std::size_t bits = 0; bits < pairs.size(); ++bits) {
    pairs[bits] = {alphabet[bits >> 6U], alphabet[bits & 0x3FU]};
  }
  return pairs;
}();

constexpr std::uint8_t foreign = 0xFF;

constexpr auto valueOfCharacter = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(foreign);
  for (std::uint8_t value = 0; value < 64; ++value) {
    values[static_cast<unsigned char>(alphabet[value])] = value;
  }
  values['+'] = 62;
  values['/'] = 63;
  return values;
}();

/// The text without its padding, or nothing when the padding is wrong. Missing padding is right.
std::optional<std::string_view> withoutPadding(std::string_view text) {
  const std::size_t end = text.find('=');
  const std::string_view digits = text.substr(0, end);
  if (digits.size() % 4 == 1) {
    return std::nullopt;
  }
  const std::size_t padding = text.size() - digits.size();
  const std::size_t room = (4 - digits.size() % 4) % 4;
  if (padding > room) {
    return std::nullopt;
  }
  for (std::size_t i = digits.size(); i < text.size(); ++i) {
    if (text[i] != '=') {
      return std::nullopt;
    }
  }
  return digits;
}

}  // namespace

std::string base64(ByteView bytes) {
  // Four characters for three bytes, and a zero that the library puts behind them.
  std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
  EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes.data(),
                  static_cast<int>(bytes.size()));
  text.pop_back();
  return text;
}

std::string base64URL(ByteView bytes) {
  std::string out;
  appendBase64URL(bytes, out);
  return out;
}

void appendBase64URL(ByteView bytes, std::string& out) {
  const std::size_t start = out.size();
  const std::size_t remainder = bytes.size() % 3;
  out.resize(start + bytes.size() / 3 * 4 + (remainder == 0 ? 0 : remainder + 1));
  char* to = out.data() + start;
  const std::uint8_t* from = bytes.data();
  const std::uint8_t* const wholeEnd = from + (bytes.size() - remainder);
  // Six bytes at a time while eight can be read at once.
  for (; bytes.data() + bytes.size() - from >= 8; from += 6, to += 8) {
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < 8; ++i) {
      bits = bits << 8U | from[i];
    }
    for (std::size_t pair = 0; pair < 4; ++pair) {
      std::memcpy(to + 2 * pair, characterPairs[bits >> (52 - 12 * pair) & 0xFFFU].data(), 2);
    }
  }
  for (; from != wholeEnd; from += 3, to += 4) {
    const auto bits = static_cast<std::uint32_t>(from[0] << 16 | from[1] << 8 | from[2]);
    const auto& high = characterPairs[bits >> 12U];
    const auto& low = characterPairs[bits & 0xFFFU];
    to[0] = high[0];
    to[1] = high[1];
    to[2] = low[0];
    to[3] = low[1];
  }
  if (remainder == 1) {
    const auto bits = static_cast<std::uint32_t>(from[0] << 4);
    to[0] = alphabet[bits >> 6U];
    to[1] = alphabet[bits & 0x3FU];
  } else if (remainder == 2) {
    const auto bits = static_cast<std::uint32_t>(from[0] << 10 | from[1] << 2);
    to[0] = alphabet[bits >> 12U];
    to[1] = alphabet[bits >> 6U & 0x3FU];
    to[2] = alphabet[bits & 0x3FU];
  }
}

std::optional<Bytes> bytesFromBase64URL(std::string_view text) {
  const auto digits = withoutPadding(text);
  if (!digits) {
    return std::nullopt;
  }
  Bytes bytes;
  bytes.reserve(digits->size() * 3 / 4);
  std::uint32_t bits = 0;
  unsigned bitCount = 0;
  for (const char c : *digits) {
    const std::uint8_t value = valueOfCharacter[static_cast<unsigned char>(c)];
    if (value == foreign) {
      return std::nullopt;
    }
    bits = bits << 6U | value;
    bitCount += 6;
    if (bitCount >= 8) {
      bitCount -= 8;
      bytes.push_back(static_cast<std::uint8_t>(bits >> bitCount));
    }
    bits &= (1U << bitCount) - 1;
  }
  if (bits != 0) {
    return std::nullopt;
  }
  return bytes;
}

}  // namespace orvik
