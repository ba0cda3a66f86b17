#pragma once

#include <zbar.h>

#include <string>

namespace orvik::test {

/// The bytes of the QR code that a scanner finds in a picture of one byte for each pixel, row by
/// row, from black (0) to white; empty when it finds none.
inline std::string scannedCode(const std::string& pixels, std::size_t width) {
  zbar::ImageScanner scanner;
  scanner.set_config(zbar::ZBAR_QRCODE, zbar::ZBAR_CFG_BINARY, 1);
  zbar::Image image(static_cast<unsigned>(width), static_cast<unsigned>(pixels.size() / width),
                    "Y800", pixels.data(), pixels.size());
  scanner.scan(image);
  return image.symbol_begin() == image.symbol_end() ? "" : image.symbol_begin()->get_data();
}

}  // namespace orvik::test
