#include <gtest/gtest.h>

#include <QClipboard>
#include <QLayout>
#include <QPushButton>
#include <QToolTip>
#include <cmath>
#include <optional>
#include <set>
#include <string>

#include "OrvikApp/PairingCard.h"
#include "OrvikApp/PairingCardRendering.h"
#include "OrvikApp/QRCode.h"
#include "OrvikApp/Texts.h"
#include "phone/terminal/PairingLink.h"
#include "tests/support/ScannedCode.h"
#include "tests/support/TemporaryFolder.h"

namespace orvik {
namespace {

/// The application in which every test of this program draws.
struct Drawing : testing::Environment {
  void SetUp() override { application.emplace(); }
  void TearDown() override { application.reset(); }
  std::optional<OffscreenApplication> application;
};
const testing::Environment* const drawing = testing::AddGlobalTestEnvironment(new Drawing);

const std::string link = "https://orvik.example/orvik/p#1.a.b.Mac";

QImage drawn(QWidget& card) {
  QImage image(card.size(), QImage::Format_RGB32);
  image.fill(card.palette().color(QPalette::Window));
  card.render(&image, {}, {}, QWidget::DrawChildren);
  return image;
}

std::string scannedCode(const QImage& picture) {
  const QImage grey = picture.convertToFormat(QImage::Format_Grayscale8);
  return test::scannedCode({reinterpret_cast<const char*>(grey.constBits()),
                            static_cast<std::size_t>(grey.sizeInBytes())},
                           static_cast<std::size_t>(grey.bytesPerLine()));
}

/// WCAG 2, for greys: from 1 for equal ones to 21 for black on white.
double contrast(const QColor& ink, const QColor& paper) {
  const double one = std::pow(ink.redF(), 2.2) + 0.05;
  const double other = std::pow(paper.redF(), 2.2) + 0.05;
  return std::max(one, other) / std::min(one, other);
}

TEST(PairingCard, FollowsPaletteAndLinkAndTellsOnlyWhatTheUserSwitches) {
  PairingCard card(Texts(QStringLiteral("en")), link);
  const auto labels = card.findChildren<QLabel*>();
  for (const auto& [window, text] : {std::pair(QColor(0xEF, 0xEF, 0xEF), QColor(Qt::black)),
                                     {QColor(0x20, 0x20, 0x20), Qt::white}}) {
    QPalette palette;
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);
    card.setPalette(palette);
    for (const QLabel* const label : labels) {
      const QColor ink = label->palette().color(QPalette::WindowText);
      EXPECT_GE(contrast(ink, window), 4.5);
      EXPECT_EQ(ink == text, label == labels.front()) << "all but the title are dimmed";
    }
    const QImage image = drawn(card);
    const QRect paper = card.layout()->itemAt(2)->geometry();
    EXPECT_EQ(image.pixelColor(paper.topLeft()), window) << "round corners";
    EXPECT_EQ(image.pixelColor(paper.topLeft() + QPoint(12, 12)), QColor(Qt::white));
    EXPECT_EQ(scannedCode(image), link);
  }
  card.setLink("another");
  EXPECT_EQ(scannedCode(drawn(card)), "another");
  std::string told;
  QObject::connect(&card, &PairingCard::launchAtLoginToggled,
                   [&](bool isOn) { told += isOn ? "on " : "off "; });
  auto* const button = card.findChild<QCheckBox*>();
  card.setLaunchAtLogin(true);
  EXPECT_TRUE(button->isChecked());
  button->click();
  button->toggle();  // as a screen reader does
  EXPECT_EQ(told, "off on ");
  EXPECT_TRUE(card.launchAtLogin());
}

TEST(PairingCard, CopiesTheLinkWithAWarningUnlessTheCodeIsCovered) {
  PairingCard card(Texts(QStringLiteral("en")), link);
  card.show();
  auto* const copy = card.findChild<QAction*>();
  card.setCodeShown(false);
  EXPECT_EQ(scannedCode(drawn(card)), "");
  copy->trigger();
  EXPECT_EQ(QGuiApplication::clipboard()->text().toStdString(), "");
  card.findChild<QPushButton*>()->click();
  EXPECT_EQ(scannedCode(drawn(card)), link);
  copy->trigger();
  EXPECT_EQ(QGuiApplication::clipboard()->text().toStdString(), link);
  EXPECT_TRUE(QToolTip::text().contains(QStringLiteral("like a password")));
}

TEST(PairingCardRendering, ShowsAFreshPairingInTheLanguageThatIsAskedFor) {
  const test::TemporaryFolder folder;
  std::set<std::string> secrets;
  QImage english;
  for (const char* const locale : {"en", "fr", "ar", "zh-Hans", "xx", "not a locale"}) {
    SCOPED_TRACE(locale);
    const auto path = folder.write("card.png", std::string(1'000'000, 'x'));
    ASSERT_TRUE(renderPNG(path, QString::fromLatin1(locale)));
    EXPECT_LT(std::filesystem::file_size(path), 200'000U) << "the old file is replaced";
    const QImage image(QString::fromStdString(path.string()), "PNG");
    EXPECT_EQ(image.width(), 680);
    EXPECT_EQ(image.pixelColor(679, image.height() - 1), QPalette().color(QPalette::Window));
    const PairingLink found = PairingLink::read(scannedCode(image));
    EXPECT_EQ(found.name, "MacBook Air");
    EXPECT_TRUE(secrets.insert(found.pairing.link({}).text()).second);
    const QImage title = image.copy(0, 0, 680, 100);
    english = english.isNull() ? title : english;
    EXPECT_EQ(title == english,
              std::set<std::string>({"en", "xx", "not a locale"}).contains(locale));
  }
}

TEST(QRCode, HoldsTheBytesOfTheTextInTheSmallestCode) {
  // Sizes and capacities of error-correction level M: ISO/IEC 18004, table 7.
  const std::pair<std::string, int> cases[] = {{std::string(14, 'x'), 21},
                                               {std::string(15, 'x'), 25},
                                               {"Zoë’s Mac — 日本", 25},
                                               {std::string(2331, 'x'), 177}};
  for (const auto& [text, modules] : cases) {
    const QImage image = QRCode::image(text);
    ASSERT_EQ(image.size(), QSize(modules + 8, modules + 8));
    EXPECT_EQ(scannedCode(image.scaled(image.size() * 4)), text);
    EXPECT_TRUE(image.pixel(3, 3) == 0xFFFFFFFF && image.pixel(4, 4) == 0xFF000000)
        << "the code begins behind four light modules";
  }
}

TEST(QRCode, HasWholeSquareModulesAtEveryScaleAndDrawsNothingWithoutACode) {
  QRCode code(link);
  const QImage modules = QRCode::image(link);
  for (const double scale : {1.0, 1.25, 1.5, 1.75, 2.0, 3.0}) {
    SCOPED_TRACE(scale);
    QImage screen((QSizeF(220, 220) * scale).toSize(), QImage::Format_RGB32);
    screen.setDevicePixelRatio(scale);
    screen.fill(Qt::red);
    code.render(&screen);
    EXPECT_EQ(scannedCode(screen), link);
    // As many pixels for each module as there is room for, and the rest around all of them.
    const int module = screen.width() / modules.width();
    const QSize size = modules.size() * module;
    const auto isWhole = [&](const QPoint& corner) {
      return screen.copy(QRect(corner, size)).convertToFormat(QImage::Format_Grayscale8) ==
             modules.scaled(size);
    };
    const int left = (screen.width() - size.width()) / 2;
    EXPECT_TRUE(isWhole({left, left}) || isWhole({left + 1, left + 1}));
    const auto* const pixels = reinterpret_cast<const QRgb*>(screen.constBits());
    EXPECT_EQ(std::set(pixels, pixels + screen.width() * screen.height()),
              (std::set<QRgb>{0xFF000000, 0xFFFFFFFF}));
  }
  QImage screen(220, 220, QImage::Format_RGB32);
  screen.fill(Qt::red);
  const QImage untouched = screen;
  for (const std::size_t length : {0U, 2332U, 100'000U}) {
    code.setText(std::string(length, 'x'));
    code.render(&screen, {}, {}, QWidget::DrawChildren);
    EXPECT_EQ(screen, untouched);
  }
}

}  // namespace
}  // namespace orvik
