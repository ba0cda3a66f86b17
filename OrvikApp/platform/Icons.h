#pragma once

#include <QIcon>
#include <optional>
#include <string>

namespace orvik {

/// The symbol of the menu-bar icon, a laptop with a phone beside it: in one colour, and sharp at
/// the sizes that this system's panels or menu bar show. Empty when the system has none.
class MenuBarSymbol {
 public:
  /// `opacity` from 0 to 1.
  [[nodiscard]] static QIcon icon(double opacity);
};

/// The system's picture of a computer as it goes to the phone: a PNG of 128 x 128 pixels. Nothing
/// when the system has none to give, or when the readings have a picture of their own. Main thread
/// only.
[[nodiscard]] std::optional<std::string> computerIcon();

}  // namespace orvik
