#include "OrvikApp/PairingCardRendering.h"

#include <QBuffer>
#include <QFont>
#include <QImage>
#include <QStyleFactory>
#include <fstream>

#include "OrvikApp/PairingCard.h"
#include "OrvikApp/Texts.h"
#include "core/pairing/Pairing.h"

namespace orvik {

namespace {

constexpr int scale = 2;

QImage picture(PairingCard& card) {
  card.ensurePolished();
  QImage image(card.size() * scale, QImage::Format_RGB32);
  image.setDevicePixelRatio(scale);
  image.fill(card.palette().color(QPalette::Window));
  card.render(&image, {}, {}, QWidget::DrawChildren);
  return image;
}

QByteArray encodedPNG(const QImage& image) {
  QBuffer buffer;
  const bool isEncoded = buffer.open(QIODevice::WriteOnly) && image.save(&buffer, "PNG");
  return isEncoded ? buffer.data() : QByteArray();
}

}  // namespace

OffscreenApplication::Environment::Environment() {
  // Each would load a theme or input method, or change sizes.
  for (const char* const name :
       {"QT_QPA_PLATFORMTHEME", "QT_STYLE_OVERRIDE", "QT_IM_MODULE", "QT_IM_MODULES",
        "QT_SCALE_FACTOR", "QT_SCREEN_SCALE_FACTORS", "QT_AUTO_SCREEN_SCALE_FACTOR",
        "QT_ENABLE_HIGHDPI_SCALING", "QT_FONT_DPI", "QT_USE_PHYSICAL_DPI"}) {
    qunsetenv(name);
  }
}

OffscreenApplication::OffscreenApplication() : application(argumentCount, arguments) {
  QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
  // The usual body text of a desktop, in points.
  constexpr int bodySize = 13;
  QFont font = QApplication::font();
  font.setPixelSize(bodySize);
  // Letters stand where they belong at every scale, not on whole points.
  font.setHintingPreference(QFont::PreferNoHinting);
  QApplication::setFont(font);
}

bool renderPNG(const std::filesystem::path& to, const QString& locale) {
  const SecretText link = Pairing::generate().link("MacBook Air");
  PairingCard card(Texts(locale), link.text());
  card.setLaunchAtLogin(true);
  const QByteArray bytes = encodedPNG(picture(card));
  if (bytes.isEmpty()) {
    return false;
  }
  std::ofstream file(to, std::ios::binary);
  file.write(bytes.constData(), bytes.size());
  file.close();
  return !file.fail();
}

}  // namespace orvik
