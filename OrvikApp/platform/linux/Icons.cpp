#include "OrvikApp/platform/Icons.h"

#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>
#include <array>

namespace orvik {

namespace {

/// The sizes that panels ask for, in pixels, and of which drawing each is a multiple.
struct Size {
  int pixels;
  int drawing;
};
constexpr std::array sizes{Size{16, 16}, Size{22, 22}, Size{24, 24}, Size{32, 16},
                           Size{44, 22}, Size{48, 24}, Size{64, 16}};

/// For a panel whose colours nobody knows: 4.5 : 1 on white and on black alike. One that knows the
/// symbol by its name colours it itself.
constexpr QRgb neutral = 0xFF767676;

QPixmap drawn(QSvgRenderer& drawing, int size, double opacity) {
  QPixmap picture(size, size);
  picture.fill(Qt::transparent);
  QPainter painter(&picture);
  drawing.render(&painter, QRectF(0, 0, size, size));
  painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
  QColor ink(neutral);
  ink.setAlphaF(static_cast<float>(opacity));
  painter.fillRect(picture.rect(), ink);
  return picture;
}

}  // namespace

QIcon MenuBarSymbol::icon(double opacity) {
  QIcon icon;
  for (const auto [pixels, size] : sizes) {
    QSvgRenderer drawing(QStringLiteral(":/icons/tray/%1x%1/orvik-symbolic.svg").arg(size));
    icon.addPixmap(drawn(drawing, pixels, opacity));
  }
  return icon;
}

// The readings bring one, for programs without a display too.
std::optional<std::string> computerIcon() { return std::nullopt; }

}  // namespace orvik
