#include "OrvikApp/PairingCard.h"

#include <QClipboard>
#include <QEvent>
#include <QGridLayout>
#include <QGuiApplication>
#include <QMimeData>
#include <QPainter>
#include <QSignalBlocker>
#include <QStyle>
#include <QTextLayout>
#include <QToolTip>
#include <QVBoxLayout>
#include <initializer_list>
#include <memory>

#include "OrvikApp/Texts.h"
#include "OrvikApp/platform/Conventions.h"

namespace orvik {

namespace {

constexpr int cardPadding = 28;
constexpr int spacing = 14;
constexpr int textWidth = PairingCard::cardWidth - 2 * cardPadding;

/// The desktop's second title beside its body text: 17 points beside 13.
constexpr double titleScale = 17.0 / 13.0;

/// How much of the text's colour is left in a dimmed one. Keeps dimmed text above the contrast of
/// 4.5 : 1 that WCAG 2 asks for, on light and dark windows.
constexpr double dimmedShare = 0.64;

/// What the code, or its cover, lies on: white on dark desktops too, as readers expect it.
class Paper : public QWidget {
 public:
  Paper(QWidget& code, QWidget& cover) {
    constexpr int padding = 12;
    auto* const layout = new QGridLayout(this);
    layout->setContentsMargins(padding, padding, padding, padding);
    layout->addWidget(&code, 0, 0);
    layout->addWidget(&cover, 0, 0, Qt::AlignCenter);
    setFixedSize(QRCode::side + 2 * padding, QRCode::side + 2 * padding);
  }

 protected:
  void paintEvent(QPaintEvent* /*event*/) override {
    constexpr double radius = 12;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::white);
    painter.drawRoundedRect(rect(), radius, radius);
  }
};

QFont styled(QFont font, double scale, QFont::Weight weight) {
  if (font.pixelSize() > 0) {
    font.setPixelSize(qRound(font.pixelSize() * scale));
  } else {
    font.setPointSizeF(font.pointSizeF() * scale);
  }
  font.setWeight(weight);
  return font;
}

QColor dimmed(const QPalette& palette, QPalette::ColorGroup group) {
  const QColor text = palette.color(group, QPalette::WindowText);
  const QColor window = palette.color(group, QPalette::Window);
  const auto blend = [](int one, int other) {
    return qRound(one * dimmedShare + other * (1 - dimmedShare));
  };
  return QColor(blend(text.red(), window.red()), blend(text.green(), window.green()),
                blend(text.blue(), window.blue()));
}

void dim(QLabel& label, QPalette palette) {
  for (const auto group : {QPalette::Active, QPalette::Inactive}) {
    palette.setColor(group, QPalette::WindowText, dimmed(palette, group));
  }
  label.setPalette(palette);
}

QStringList linesOf(const QString& text, const QFont& font, int width) {
  QTextLayout layout(text, font);
  QStringList lines;
  layout.beginLayout();
  for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
    line.setLineWidth(width);
    lines += text.mid(line.textStart(), line.textLength()).trimmed();
  }
  layout.endLayout();
  return lines;
}

/// The text in as few lines as `width` allows, of about the same length each: no single word is
/// left for the last one.
QString wrapped(const QString& text, const QFont& font, int width) {
  const QStringList fewest = linesOf(text, font, width);
  int tooNarrow = 0;
  int wideEnough = width;
  while (wideEnough - tooNarrow > 1) {
    const int middle = (tooNarrow + wideEnough) / 2;
    (linesOf(text, font, middle).size() > fewest.size() ? tooNarrow : wideEnough) = middle;
  }
  return linesOf(text, font, wideEnough).join(QLatin1Char('\n'));
}

}  // namespace

PairingCard::PairingCard(const Texts& texts, std::string_view link, QWidget* parent)
    : QWidget(parent),
      titleText(texts.text("Welcome to Orvik")),
      headingText(texts.text("Scan with your phone")),
      instructionText(conventions::scanInstruction(texts)),
      launchText(conventions::openAtStart(texts)),
      copyWarning(texts.text(
          "Whoever has this link sees this computer’s readings. Treat it like a password.")),
      link{link},
      code(link),
      showCode(texts.text("Show code")),
      copy(texts.text("Copy link"), this) {
  setLayoutDirection(texts.direction());
  auto* const layout = new QVBoxLayout(this);
  layout->setContentsMargins(cardPadding, cardPadding, cardPadding, cardPadding);
  layout->setSpacing(spacing);
  for (QLabel* const label : {&title, &heading, &instruction}) {
    label->setTextFormat(Qt::PlainText);
    label->setAlignment(Qt::AlignCenter);
  }
  for (QWidget* const child : std::initializer_list<QWidget*>{
           &title, &heading, new Paper(code, showCode), &instruction, &launchSwitch}) {
    layout->addWidget(child, 0, Qt::AlignHCenter);
  }
  connect(&launchSwitch, &QCheckBox::toggled, this, &PairingCard::launchAtLoginToggled);
  copy.setShortcut(QKeySequence::Copy);
  code.addAction(&copy);
  code.setContextMenuPolicy(Qt::ActionsContextMenu);
  connect(&copy, &QAction::triggered, this, &PairingCard::copyLink);
  connect(&showCode, &QPushButton::clicked, this, [this] {
    if (this->link.text().empty()) {
      Q_EMIT codeWanted();
    } else {
      setCodeShown(true);
    }
  });
  setCodeShown(true);
  applyStyle();
}

void PairingCard::setLink(std::string_view newLink) {
  link = SecretText{newLink};
  code.setText(newLink);
  setCodeShown(codeShown);
}

void PairingCard::setCodeShown(bool isShown) {
  codeShown = isShown;
  code.setVisible(isShown);
  showCode.setVisible(!isShown);
  copy.setEnabled(isShown && !link.text().empty());
}

void PairingCard::copyLink() {
  auto copied = std::make_unique<QMimeData>();
  copied->setText(QString::fromStdString(link.text()));
  // Programs that keep what is copied leave out what says this.
  copied->setData(QStringLiteral("x-kde-passwordManagerHint"), QByteArrayLiteral("secret"));
  QGuiApplication::clipboard()->setMimeData(copied.release());
  constexpr int milliseconds = 10'000;
  // As markup, which is wrapped.
  QToolTip::showText(code.mapToGlobal(QPoint(0, QRCode::side)),
                     QStringLiteral("<p>") + copyWarning.toHtmlEscaped() + QStringLiteral("</p>"),
                     &code, {}, milliseconds);
}

bool PairingCard::launchAtLogin() const { return launchSwitch.isChecked(); }

void PairingCard::setLaunchAtLogin(bool isOn) {
  const QSignalBlocker silence(launchSwitch);
  launchSwitch.setChecked(isOn);
}

void PairingCard::changeEvent(QEvent* event) {
  QWidget::changeEvent(event);
  const QEvent::Type type = event->type();
  if (type == QEvent::FontChange || type == QEvent::PaletteChange || type == QEvent::StyleChange) {
    applyStyle();
  }
}

void PairingCard::applyStyle() {
  title.setFont(styled(font(), titleScale, QFont::Bold));
  heading.setFont(styled(font(), 1, QFont::DemiBold));
  dim(heading, palette());
  dim(instruction, palette());
  title.setText(wrapped(titleText, title.font(), textWidth));
  heading.setText(wrapped(headingText, heading.font(), textWidth));
  instruction.setText(wrapped(instructionText, font(), textWidth));
  const int box = style()->pixelMetric(QStyle::PM_IndicatorWidth, nullptr, &launchSwitch) +
                  style()->pixelMetric(QStyle::PM_CheckBoxLabelSpacing, nullptr, &launchSwitch);
  launchSwitch.setText(wrapped(launchText, font(), textWidth - box));
  setFixedSize(cardWidth, layout()->totalSizeHint().height());
}

}  // namespace orvik
