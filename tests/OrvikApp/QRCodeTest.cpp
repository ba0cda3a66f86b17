#include <gtest/gtest.h>

#include "OrvikApp/QRCode.h"
#include "tests/OrvikApp/ScannedCode.h"

namespace orvik {
namespace {

TEST(QRCode, HoldsTheBytesOfTheTextInTheSmallestCode) {
  struct Case {
    QString text;
    int modules;
  };
  // Sizes and capacities of error-correction level M: ISO/IEC 18004, table 7.
  for (const Case& it : {Case{QString(14, QLatin1Char('x')), 21},
                         {QString(15, QLatin1Char('x')), 25},
                         {QStringLiteral("Zoë’s Mac — 日本"), 25},
                         {QString(2331, QLatin1Char('x')), 177}}) {
    const QImage image = QRCode::image(it.text);
    ASSERT_EQ(image.size(), QSize(it.modules + 8, it.modules + 8));
    EXPECT_EQ(test::scannedCode(image.scaled(image.size() * 4)), it.text.toStdString());
    for (int i = 0; i < image.width(); ++i) {
      EXPECT_TRUE(image.pixel(i, 3) == 0xFFFFFFFF && image.pixel(3, i) == 0xFFFFFFFF);
    }
    EXPECT_EQ(image.pixel(4, 4), 0xFF000000) << "the code begins behind four light modules";
  }
}

TEST(QRCode, IsSharpAtEveryScale) {
  QRCode code(QStringLiteral("https://orvik.example/orvik/p#1"));
  for (const double scale : {1.0, 1.25, 1.5, 2.0, 3.0}) {
    const int side = qRound(220 * scale);
    QImage screen(side, side, QImage::Format_RGB32);
    screen.setDevicePixelRatio(scale);
    screen.fill(Qt::red);
    code.render(&screen);
    EXPECT_EQ(test::scannedCode(screen), "https://orvik.example/orvik/p#1");
    int blurred = 0;
    for (int y = 0; y < side; ++y) {
      for (int x = 0; x < side; ++x) {
        const QRgb pixel = screen.pixel(x, y);
        blurred += pixel != 0xFF000000 && pixel != 0xFFFFFFFF;
      }
    }
    EXPECT_EQ(blurred, 0) << "at " << scale;
  }
}

TEST(QRCode, DrawsNothingWithoutACode) {
  for (const int length : {0, 2332, 100'000}) {
    const QString text(length, QLatin1Char('x'));
    EXPECT_TRUE(QRCode::image(text).isNull());
    QRCode code(QStringLiteral("before"));
    code.setText(text);
    QImage screen(220, 220, QImage::Format_RGB32);
    screen.fill(Qt::red);
    const QImage untouched = screen;
    code.render(&screen, {}, {}, QWidget::DrawChildren);
    EXPECT_EQ(screen, untouched);
  }
}

}  // namespace
}  // namespace orvik
