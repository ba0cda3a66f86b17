#include "OrvikApp/QRCode.h"

#include <QPainter>
#include <algorithm>

#include "core/pairing/QRModules.h"

namespace orvik {

namespace {
/// ISO/IEC 18004: the light border without which a reader does not find the code.
constexpr int quietZone = 4;
}  // namespace

QRCode::QRCode(std::string_view text) : modules(image(text)) { setFixedSize(side, side); }

void QRCode::setText(std::string_view text) {
  // The picture of a secret is one too.
  modules.fill(0);
  modules = image(text);
  update();
}

QImage QRCode::image(std::string_view text) {
  const auto code = QRModules::of(text, QRModules::Correction::medium);
  if (!code) {
    return {};
  }
  const int width = code->width() + 2 * quietZone;
  QImage image(width, width, QImage::Format_Grayscale8);
  for (int y = 0; y < width; ++y) {
    uchar* const line = image.scanLine(y);
    for (int x = 0; x < width; ++x) {
      line[x] = code->isDark(x - quietZone, y - quietZone) ? 0x00 : 0xFF;
    }
  }
  return image;
}

void QRCode::paintEvent(QPaintEvent* /*event*/) {
  if (modules.isNull()) {
    return;
  }
  QPainter painter(this);
  painter.fillRect(rect(), Qt::white);
  // In pixels of the screen, of which a point may have one and a half.
  const QTransform toPixels = painter.deviceTransform();
  const QRectF frame = toPixels.mapRect(QRectF(rect()));
  const int module =
      std::max(static_cast<int>(std::min(frame.width(), frame.height())) / modules.width(), 1);
  QRect code(QPoint(), modules.size() * module);
  code.moveCenter(frame.toAlignedRect().center());
  painter.setTransform(toPixels.inverted(), true);
  painter.setRenderHint(QPainter::SmoothPixmapTransform, false);
  painter.drawImage(code, modules);
}

}  // namespace orvik
