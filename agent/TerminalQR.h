#pragma once

#include <string>
#include <string_view>

namespace orvik {

enum class TerminalQRStyle {
  /// With escape sequences that make it black on white, whatever the terminal's colours are.
  coloured,
  /// Characters only, for logs and files: what is light in the code is a block, as it has to be
  /// where text is light on dark.
  plain,
};

/// The QR code of a text for a terminal: lines of half-block characters, each ended by a line
/// break, with the quiet zone of four modules around the code. Error correction level M, the
/// smallest version that holds the text as bytes. Throws std::invalid_argument when the text is
/// empty or longer than the 2331 bytes that the largest code takes.
[[nodiscard]] std::string terminalQR(std::string_view text, TerminalQRStyle style);

}  // namespace orvik
