#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orvik {

/// The dark and light squares of a QR code.
class QRModules {
 public:
  /// How much of the code may be hidden or smudged: 7 % and 15 % of it (ISO/IEC 18004).
  enum class Correction { low, medium };

  /// The smallest code that holds the bytes. Nothing when they are none, or more than the largest
  /// code takes: 2953 at the low correction, 2331 at the medium one.
  [[nodiscard]] static std::optional<QRModules> of(std::string_view bytes, Correction correction);

  /// Modules on each side, without a border: 21 to 177, always odd.
  [[nodiscard]] int width() const { return side; }
  /// Whether the module in this column and row is dark. All around the code is light.
  [[nodiscard]] bool isDark(int x, int y) const;

 private:
  QRModules(int side, std::string modules) : side(side), modules(std::move(modules)) {}

  int side;
  /// Row by row, a byte for each.
  std::string modules;
};

}  // namespace orvik
