#pragma once

#include <zbar.h>

#include <QImage>
#include <string>

namespace orvik::test {

/// The bytes of the QR code that a scanner finds in a picture; empty when it finds none.
inline std::string scannedCode(const QImage& picture) {
  const QImage grey = picture.convertToFormat(QImage::Format_Grayscale8);
  std::string pixels;
  for (int y = 0; y < grey.height(); ++y) {
    pixels.append(reinterpret_cast<const char*>(grey.constScanLine(y)),
                  static_cast<std::size_t>(grey.width()));
  }
  zbar::ImageScanner scanner;
  scanner.set_config(zbar::ZBAR_QRCODE, zbar::ZBAR_CFG_BINARY, 1);
  zbar::Image image(static_cast<unsigned>(grey.width()), static_cast<unsigned>(grey.height()),
                    "Y800", pixels.data(), pixels.size());
  scanner.scan(image);
  return image.symbol_begin() == image.symbol_end() ? "" : image.symbol_begin()->get_data();
}

}  // namespace orvik::test
