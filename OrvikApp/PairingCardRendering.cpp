#include "OrvikApp/PairingCardRendering.h"

#include <QBuffer>
#include <QImage>
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

bool renderPNG(const std::filesystem::path& to, const QString& locale) {
  const std::string link = Pairing::generate().link("MacBook Air");
  PairingCard card(Texts(locale), QString::fromStdString(link));
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
