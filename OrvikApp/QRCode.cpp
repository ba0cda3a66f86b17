#include "OrvikApp/QRCode.h"

#include <qrencode.h>

#include <QPainter>
#include <climits>
#include <memory>

namespace orvik {

namespace {

struct FreeCode {
  void operator()(QRcode* code) const { QRcode_free(code); }
};

/// ISO/IEC 18004: the light border without which a reader does not find the code.
constexpr int quietZone = 4;

std::unique_ptr<QRcode, FreeCode> encoded(const QByteArray& bytes) {
  constexpr int smallestVersion = 0;
  if (bytes.isEmpty() || bytes.size() > INT_MAX) {
    return nullptr;
  }
  return std::unique_ptr<QRcode, FreeCode>(QRcode_encodeData(
      static_cast<int>(bytes.size()), reinterpret_cast<const unsigned char*>(bytes.constData()),
      smallestVersion, QR_ECLEVEL_M));
}

}  // namespace

QRCode::QRCode(const QString& text) : modules(image(text)) { setFixedSize(side, side); }

void QRCode::setText(const QString& text) {
  modules = image(text);
  update();
}

QImage QRCode::image(const QString& text) {
  const auto code = encoded(text.toUtf8());
  if (code == nullptr) {
    return {};
  }
  const int width = code->width + 2 * quietZone;
  QImage image(width, width, QImage::Format_Grayscale8);
  image.fill(Qt::white);
  const unsigned char* module = code->data;
  for (int y = 0; y < code->width; ++y) {
    uchar* const line = image.scanLine(quietZone + y) + quietZone;
    for (int x = 0; x < code->width; ++x, ++module) {
      // The library sets the lowest bit of a dark module.
      line[x] = (*module & 1U) != 0 ? 0x00 : 0xFF;
    }
  }
  return image;
}

void QRCode::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  // Nearest neighbour: each pixel of the screen is black or white, at every scale.
  painter.setRenderHint(QPainter::SmoothPixmapTransform, false);
  painter.drawImage(rect(), modules);
}

}  // namespace orvik
