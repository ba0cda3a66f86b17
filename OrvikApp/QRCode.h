#pragma once

#include <QImage>
#include <QWidget>
#include <string_view>

namespace orvik {

/// The QR code of a text in a frame of 220 × 220 points, black on white in every palette: as large
/// as it can be there with every module the same whole number of pixels wide and high. Nothing is
/// drawn for a text that has no code. Says nothing to a screen reader: nobody can scan what is read
/// aloud.
class QRCode : public QWidget {
 public:
  static constexpr int side = 220;

  explicit QRCode(std::string_view text);

  void setText(std::string_view text);

  /// The code of the text's bytes at one pixel per module, with the quiet zone of four
  /// modules around it: error-correction level M, the smallest version that fits. An empty image
  /// when the text is empty or longer than the 2331 bytes that the largest code takes.
  [[nodiscard]] static QImage image(std::string_view text);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QImage modules;
};

}  // namespace orvik
