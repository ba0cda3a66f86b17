#include "OrvikApp/platform/Icons.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPalette>
#include <QPixmap>
#include <QSvgRenderer>
#include <array>

namespace orvik {

namespace {

/// The edge of the symbol in points, and as much of the drawing is the symbol.
constexpr int points = 15;
/// Pixels: one, two and three to a point, and the sizes that panels are known to ask for.
constexpr std::array<int, 10> sizes{points, 16, 22, 24, 2 * points, 32, 44, 3 * points, 48, 64};

/// Panels follow the desktop's colours, and GNOME's is dark whatever they are.
QColor panelText() {
  if (qgetenv("XDG_CURRENT_DESKTOP").contains("GNOME")) {
    return Qt::white;
  }
  return QGuiApplication::palette().color(QPalette::WindowText);
}

QPixmap drawn(QSvgRenderer& drawing, int size, const QColor& colour, double opacity) {
  QPixmap picture(size, size);
  picture.fill(Qt::transparent);
  QPainter painter(&picture);
  drawing.render(&painter, QRectF(0, 0, size, size));
  painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
  QColor ink = colour;
  ink.setAlphaF(static_cast<float>(opacity));
  painter.fillRect(picture.rect(), ink);
  return picture;
}

}  // namespace

QIcon MenuBarSymbol::icon(double opacity) {
  QSvgRenderer drawing(QStringLiteral(":/icons/orvik-symbolic.svg"));
  if (!drawing.isValid()) {
    return {};
  }
  drawing.setViewBox(QRectF(0, 0, points, points));
  const QColor colour = panelText();
  QIcon icon;
  for (const int size : sizes) {
    icon.addPixmap(drawn(drawing, size, colour, opacity));
  }
  return icon;
}

// The readings bring one, for programs without a display too.
std::optional<std::string> computerIcon() { return std::nullopt; }

}  // namespace orvik
