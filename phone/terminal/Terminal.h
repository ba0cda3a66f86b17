#pragma once

#include <termios.h>

#include <optional>

#include "core/system/TextScreen.h"

namespace orvik {

/// The terminal that a file descriptor stands for.
class Terminal {
 public:
  /// The descriptor stays its owner's.
  explicit Terminal(int descriptor) : descriptor(descriptor) {}
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;
  ~Terminal() { echo(); }

  /// Whether this is a terminal on which text can be repainted in place.
  [[nodiscard]] bool canRepaint() const { return isTextScreen(descriptor); }
  [[nodiscard]] ScreenSize size() const { return screenSize(descriptor); }

  /// Keeps what is typed from being shown, so that it does not disturb the painted block. Does
  /// nothing in the background, where a program has no say over its terminal.
  void silence();
  /// Restores what silence() found, and drops what has been typed meanwhile.
  void echo();

  /// Whether this program has the terminal's keyboard: not in the background.
  [[nodiscard]] bool hasKeyboard() const;
  /// A descriptor of its own to read keys from without blocking; negative when there is none.
  [[nodiscard]] int openKeyboard() const;

 private:
  const int descriptor;
  std::optional<termios> original;
};

}  // namespace orvik
