#include <gtest/gtest.h>

#include <QLayout>
#include <cmath>
#include <optional>
#include <set>
#include <vector>

#include "OrvikApp/PairingCard.h"
#include "OrvikApp/PairingCardRendering.h"
#include "OrvikApp/Texts.h"
#include "phone/terminal/PairingLink.h"
#include "tests/OrvikApp/ScannedCode.h"
#include "tests/support/TemporaryFolder.h"

namespace orvik {
namespace {

/// The application in which every test of this program draws.
class Drawing : public testing::Environment {
 public:
  void SetUp() override { application.emplace(); }
  void TearDown() override { application.reset(); }

 private:
  std::optional<OffscreenApplication> application;
};

const testing::Environment* const drawing = testing::AddGlobalTestEnvironment(new Drawing);

const QString link = QStringLiteral("https://orvik.example/orvik/p#1.a.b.Mac");

QImage drawn(QWidget& card) {
  QImage image(card.size(), QImage::Format_RGB32);
  image.fill(card.palette().color(QPalette::Window));
  card.render(&image, {}, {}, QWidget::DrawChildren);
  return image;
}

/// WCAG 2, for greys: from 1 for equal ones to 21 for black on white.
double contrast(const QColor& ink, const QColor& paper) {
  const double one = std::pow(ink.redF(), 2.2) + 0.05;
  const double other = std::pow(paper.redF(), 2.2) + 0.05;
  return std::max(one, other) / std::min(one, other);
}

TEST(PairingCard, StacksItsChildrenCentred) {
  for (const char* const locale : {"en", "ja", "ar"}) {
    for (const int fontSize : {9, 13, 24}) {
      PairingCard card(Texts(QString::fromLatin1(locale)), link);
      QFont font = card.font();
      font.setPixelSize(fontSize);
      card.setFont(font);
      card.layout()->activate();
      EXPECT_EQ(card.width(), 340);
      int top = 28;
      for (int i = 0; i < 5; ++i) {
        const QRect child = card.layout()->itemAt(i)->geometry();
        EXPECT_EQ(child.top(), top) << i << locale << fontSize;
        EXPECT_NEAR(child.center().x(), 169.5, 1) << i << locale << fontSize;
        EXPECT_LE(child.width(), 284) << i << locale << fontSize;
        top = child.bottom() + 1 + 14;
      }
      EXPECT_EQ(card.layout()->itemAt(2)->geometry().size(), QSize(244, 244));
      EXPECT_EQ(card.height(), top - 14 + 28);
    }
  }
}

TEST(PairingCard, TellsOnlyWhatTheUserSwitches) {
  PairingCard card(Texts(QStringLiteral("en")), link);
  std::vector<bool> told;
  QObject::connect(&card, &PairingCard::launchAtLoginToggled,
                   [&](bool isOn) { told.push_back(isOn); });
  auto* const button = card.findChild<QCheckBox*>();
  card.setLaunchAtLogin(true);
  EXPECT_TRUE(button->isChecked() && told.empty());
  button->click();
  button->toggle();  // as a screen reader does
  EXPECT_EQ(told, (std::vector<bool>{false, true}));
  EXPECT_TRUE(card.launchAtLogin());
}

TEST(PairingCard, FollowsPaletteAndLink) {
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
    EXPECT_EQ(test::scannedCode(image), link.toStdString());
  }
  card.setLink(QStringLiteral("another"));
  EXPECT_EQ(test::scannedCode(drawn(card)), "another");
}

TEST(PairingCardRendering, ShowsAFreshPairingInEveryLanguage) {
  const test::TemporaryFolder folder;
  std::set<std::string> secrets;
  QImage english;
  for (const char* const locale : {"en", "fr", "de", "es", "it", "pt-BR", "nl", "pl", "tr", "ru",
                                   "uk", "ar", "hi", "ja", "ko", "zh-Hans", "xx", "not a locale"}) {
    const auto path = folder.write("card.png", std::string(1'000'000, 'x'));
    ASSERT_TRUE(renderPNG(path, QString::fromLatin1(locale)));
    EXPECT_LT(std::filesystem::file_size(path), 200'000U) << "the old file is replaced";
    const QImage image(QString::fromStdString(path.string()), "PNG");
    EXPECT_EQ(image.width(), 680);
    EXPECT_GT(image.height(), 800);
    for (const QPoint corner : {QPoint(0, 0), QPoint(679, 0), QPoint(0, image.height() - 1),
                                QPoint(679, image.height() - 1)}) {
      EXPECT_EQ(image.pixelColor(corner), QPalette().color(QPalette::Window));
    }
    const PairingLink found = PairingLink::read(test::scannedCode(image));
    EXPECT_EQ(found.name, "MacBook Air");
    EXPECT_TRUE(secrets.insert(found.pairing.link({})).second);
    const QImage title = image.copy(0, 0, 680, 100);
    english = english.isNull() ? title : english;
    const std::set<std::string> inEnglish{"en", "xx", "not a locale"};
    EXPECT_EQ(title == english, inEnglish.contains(locale)) << locale;
  }
}

TEST(PairingCardRendering, FailsWhereNothingCanBeWritten) {
  const test::TemporaryFolder folder;
  const QString locale = QStringLiteral("en");
  for (const auto& path : {folder.path, folder.path / "missing" / "card.png",
                           folder.write("file", "") / "card.png", std::filesystem::path()}) {
    EXPECT_FALSE(renderPNG(path, locale)) << path;
  }
  if (std::filesystem::exists("/dev/full")) {
    EXPECT_FALSE(renderPNG("/dev/full", locale));
  }
}

}  // namespace
}  // namespace orvik
