#pragma once

namespace orvik {

/// The size of a terminal in character cells, both at least 1.
struct ScreenSize {
  int rows;
  int columns;
};

/// The size of the terminal that a file descriptor stands for; 24 by 80, the usual one, when it
/// does not say.
[[nodiscard]] ScreenSize screenSize(int descriptor);

/// Whether a file descriptor stands for a terminal that obeys control sequences.
[[nodiscard]] bool isTextScreen(int descriptor);

/// Whether the user's locale, which becomes the program's for characters, writes UTF-8: otherwise a
/// terminal shows ASCII alone. To be asked before there are threads.
[[nodiscard]] bool isLocaleUTF8();

}  // namespace orvik
