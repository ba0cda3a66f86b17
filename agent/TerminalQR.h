#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/system/TextScreen.h"

namespace orvik {

/// The QR code of a text for a terminal, black on white whatever the terminal's colours are: lines
/// of half-block characters without line breaks. Error correction level L: nothing smudges a
/// screen. `border` is the number of light modules around the code. Nothing when the text is empty
/// or longer than the 2953 bytes that the largest code takes.
[[nodiscard]] std::optional<std::vector<std::string>> terminalQR(std::string_view text, int border);

/// What a person is told about a pairing: the link first, so that a code too high for what is
/// printed afterwards pushes nothing else out of sight, then the code with what to do beside it. A
/// terminal too small for the code gets a hint instead; none at all (a file, a log, a terminal that
/// draws no blocks) the link alone. Ends with a line break.
[[nodiscard]] std::string pairingText(std::string_view link, std::optional<ScreenSize> screen);

}  // namespace orvik
