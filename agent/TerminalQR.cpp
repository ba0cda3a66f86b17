#include "agent/TerminalQR.h"

#include <qrencode.h>

#include <climits>
#include <memory>
#include <stdexcept>

namespace orvik {

namespace {

struct FreeCode {
  void operator()(QRcode* code) const { QRcode_free(code); }
};

/// ISO/IEC 18004: the light border without which a reader does not find the code.
constexpr int quietZone = 4;

/// Black on white from the fixed part of the 256 colours: themes change the first sixteen.
constexpr const char* blackOnWhite = "\x1B[38;5;16;48;5;231m";
constexpr const char* usualColours = "\x1B[0m";

/// The library sets the lowest bit of a dark module.
bool isDark(const QRcode& code, int x, int y) {
  const bool isInside = x >= 0 && y >= 0 && x < code.width && y < code.width;
  return isInside && (code.data[y * code.width + x] & 1U) != 0;
}

/// One character for two modules, one above the other.
const char* halfBlocks(bool isUpperInked, bool isLowerInked) {
  if (isUpperInked) {
    return isLowerInked ? "█" : "▀";
  }
  return isLowerInked ? "▄" : " ";
}

}  // namespace

std::string terminalQR(std::string_view text, TerminalQRStyle style) {
  constexpr int smallestVersion = 0;
  const bool fits = !text.empty() && text.size() <= INT_MAX;
  const std::unique_ptr<QRcode, FreeCode> code(
      fits ? QRcode_encodeData(static_cast<int>(text.size()),
                               reinterpret_cast<const unsigned char*>(text.data()), smallestVersion,
                               QR_ECLEVEL_M)
           : nullptr);
  if (code == nullptr) {
    throw std::invalid_argument("the text does not fit into a QR code");
  }
  const bool isColoured = style == TerminalQRStyle::coloured;
  const int end = code->width + quietZone;
  std::string out;
  for (int y = -quietZone; y < end; y += 2) {
    out += isColoured ? blackOnWhite : "";
    for (int x = -quietZone; x < end; ++x) {
      // Ink is black in colours, and what is light without them. Below the last row is nothing.
      const bool upper = isDark(*code, x, y) == isColoured;
      const bool lower =
          isColoured ? isDark(*code, x, y + 1) : y + 1 < end && !isDark(*code, x, y + 1);
      out += halfBlocks(upper, lower);
    }
    out += isColoured ? usualColours : "";
    out += '\n';
  }
  return out;
}

}  // namespace orvik
