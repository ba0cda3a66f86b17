#pragma once

#include <QIcon>

namespace orvik {

/// The symbol of the menu-bar icon, a laptop with a phone beside it: 15 points, one colour, sharp
/// at every scale. Empty when the system has none.
class MenuBarSymbol {
 public:
  /// `opacity` from 0 to 1.
  [[nodiscard]] static QIcon icon(double opacity);
};

}  // namespace orvik
