#pragma once

#include <string>
#include <string_view>

namespace orvik {

/// Foreign text made fit for a terminal: ill-formed UTF-8 repaired, escape sequences, control and
/// invisible formatting characters removed, runs of blanks and line breaks made one blank, none
/// at the ends.
[[nodiscard]] std::string displayText(std::string_view text);

/// How many columns of a terminal the text takes: wide East Asian characters and emoji two,
/// combining marks none. The text is well-formed UTF-8, as displayText gives it.
[[nodiscard]] int columnsOf(std::string_view text);

/// The text cut to at most `columns` columns; an ellipsis takes the last one when something was
/// cut. Empty when `columns` is below 1.
[[nodiscard]] std::string clipped(std::string_view text, int columns);

/// The text for a terminal that shows ASCII alone, in no more columns: bars, curves and dashes as
/// what comes nearest, letters without their accents, everything else as question marks.
[[nodiscard]] std::string asciiText(std::string_view text);

/// The text with blanks behind it up to `columns` columns.
[[nodiscard]] std::string padded(std::string_view text, int columns);

}  // namespace orvik
