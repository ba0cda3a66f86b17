#include "core/sampling/linux/EDID.h"

#include <algorithm>
#include <array>
#include <numeric>

#include "core/values/NumberText.h"
#include "core/values/Text.h"

namespace orvik {

namespace {

constexpr std::size_t blockSize = 128;
constexpr std::array<std::uint8_t, 8> header{0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0};
constexpr std::size_t firstDescriptor = 54;
constexpr std::size_t descriptorSize = 18;
constexpr std::size_t descriptorCount = 4;
constexpr std::uint8_t nameTag = 0xFC;

int littleEndian(ByteView bytes, std::size_t at) { return bytes[at] | bytes[at + 1] << 8; }

/// A detailed timing: the pixel clock in units of 10 kHz, then the visible and the blank part of
/// lines and of pictures, whose high bits stand in bytes of their own.
std::optional<EDID::Mode> modeOf(ByteView timing) {
  const int clock = littleEndian(timing, 0);
  const int width = timing[2] | (timing[4] & 0xF0) << 4;
  const int lines = timing[5] | (timing[7] & 0xF0) << 4;
  const int allPixels = width + (timing[3] | (timing[4] & 0x0F) << 8);
  const int allLines = lines + (timing[6] | (timing[7] & 0x0F) << 8);
  if (clock == 0 || width == 0 || lines == 0) {
    return std::nullopt;
  }
  // Interlaced pictures come in two halves, of which the timing tells one.
  const bool isInterlaced = (timing[17] & 0x80) != 0;
  return EDID::Mode{.width = width,
                    .height = isInterlaced ? 2 * lines : lines,
                    .refreshHz = pyRound(clock * 10'000.0 / allPixels / allLines, 2)};
}

/// At most 13 characters, ended by a line feed when they are fewer.
std::string textOfDescriptor(ByteView descriptor) {
  constexpr std::size_t textStart = 5;
  const std::string_view text = textOf(descriptor.subspan(textStart));
  return repairedUTF8(trimmed(text.substr(0, text.find_first_of(std::string_view("\n\0", 2)))));
}

/// Three letters of five bits each (1 is A), then the number.
std::string productOf(ByteView block) {
  const unsigned maker = static_cast<unsigned>(block[8]) << 8U | block[9];
  std::string text;
  for (const unsigned shift : {10U, 5U, 0U}) {
    const auto letter = static_cast<char>('A' - 1 + static_cast<int>(maker >> shift & 0x1FU));
    text += letter >= 'A' && letter <= 'Z' ? letter : '?';
  }
  text += ' ';
  appendHex(block[11], text);
  appendHex(block[10], text);
  return text;
}

}  // namespace

std::optional<EDID> parseEDID(ByteView bytes) {
  if (bytes.size() < blockSize || !std::ranges::equal(bytes.first(header.size()), header)) {
    return std::nullopt;
  }
  const ByteView block = bytes.first(blockSize);
  if (std::accumulate(block.begin(), block.end(), 0U) % 256 != 0) {
    return std::nullopt;
  }
  EDID edid{.name = std::nullopt, .product = productOf(block), .preferred = std::nullopt};
  for (std::size_t i = 0; i < descriptorCount; ++i) {
    const ByteView descriptor = block.subspan(firstDescriptor + i * descriptorSize, descriptorSize);
    const bool isTiming = littleEndian(descriptor, 0) != 0;
    if (isTiming && !edid.preferred) {
      // The first is the preferred one.
      edid.preferred = modeOf(descriptor);
    } else if (!isTiming && descriptor[3] == nameTag && !edid.name) {
      const std::string name = textOfDescriptor(descriptor);
      edid.name = name.empty() ? std::nullopt : std::optional(name);
    }
  }
  return edid;
}

}  // namespace orvik
