#pragma once

#include <termios.h>

#include <optional>

#include "phone/terminal/LiveScreen.h"

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
  [[nodiscard]] bool canRepaint() const;
  /// 24 by 80, the usual size, when the terminal does not say.
  [[nodiscard]] ScreenSize size() const;

  /// Keeps what is typed from being shown, so that it does not disturb the painted block. Does
  /// nothing in the background, where a program has no say over its terminal.
  void silence();
  /// Restores what silence() found, and drops what has been typed meanwhile.
  void echo();

 private:
  const int descriptor;
  std::optional<termios> original;
};

}  // namespace orvik
