#include "OrvikApp/RelayDialog.h"

#include <QFontDatabase>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>
#include <stdexcept>
#include <utility>

#include "OrvikApp/Texts.h"

namespace orvik {

namespace {

/// In characters of the font: about what is pleasant to read.
constexpr int textWidth = 52;

/// A fingerprint in two lines of equal length.
QString inTwoLines(const std::string& fingerprint) {
  QString text = QString::fromStdString(fingerprint);
  const qsizetype middle = text.size() / 2;
  return text.left(middle) + QLatin1Char('\n') + text.mid(middle + 1);
}

}  // namespace

RelayDialog::RelayDialog(const Texts& texts, const RelayEndpoint& present, Check check)
    : texts(texts),
      check(std::move(check)),
      trust(texts.text("Trust this certificate")),
      buttons(QDialogButtonBox::Ok | QDialogButtonBox::Cancel) {
  setObjectName(QStringLiteral("relay"));
  setWindowTitle(texts.text("Orvik"));
  setLayoutDirection(texts.direction());
  setAttribute(Qt::WA_QuitOnClose, false);
  buttons.button(QDialogButtonBox::Ok)->setText(texts.text("OK"));
  buttons.button(QDialogButtonBox::Cancel)->setText(texts.text("Cancel"));

  auto* const layout = new QVBoxLayout(this);
  auto* const question = new QLabel(texts.text("Which relay should Orvik use?"));
  QFont bold = question->font();
  bold.setBold(true);
  question->setFont(bold);
  auto* const caption = new QLabel(texts.text("Address of the relay:"));
  caption->setBuddy(&address);
  // Addresses are written from left to right everywhere.
  address.setLayoutDirection(Qt::LeftToRight);
  address.setPlaceholderText(QStringLiteral("wss://relay.example.org"));
  address.setText(QString::fromStdString(present.url));
  message.setTextFormat(Qt::PlainText);
  message.setWordWrap(true);
  message.setMinimumWidth(fontMetrics().averageCharWidth() * textWidth);
  fingerprint.setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  fingerprint.setLayoutDirection(Qt::LeftToRight);
  fingerprint.setTextInteractionFlags(Qt::TextSelectableByMouse);
  advice.setWordWrap(true);
  advice.setText(texts.text("Trust it only if the relay shows the same one."));
  for (QWidget* const part : std::initializer_list<QWidget*>{
           question, caption, &address, &message, &fingerprint, &advice, &trust, &buttons}) {
    layout->addWidget(part);
  }
  layout->setSizeConstraint(QLayout::SetFixedSize);
  message.hide();
  setTrustShown(false);

  connect(&buttons, &QDialogButtonBox::accepted, this, &RelayDialog::tryAddress);
  connect(&buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  connect(&address, &QLineEdit::textEdited, this, [this] {
    ++attempts;
    message.hide();
    setTrustShown(false);
    buttons.button(QDialogButtonBox::Ok)->setEnabled(true);
  });
}

void RelayDialog::setTrustShown(bool isShown) {
  for (QWidget* const part : std::initializer_list<QWidget*>{&fingerprint, &advice, &trust}) {
    part->setVisible(isShown);
  }
  trust.setChecked(false);
}

void RelayDialog::say(const QString& text) {
  message.setText(text);
  message.show();
}

void RelayDialog::tryAddress() {
  RelayEndpoint endpoint;
  try {
    endpoint = RelayEndpoint::at(address.text().trimmed().toStdString());
  } catch (const std::invalid_argument&) {
    return say(texts.text("The address has to begin with wss:// and name a host."));
  }
  if (trust.isChecked() && shownFor == endpoint.url) {
    endpoint.fingerprint = shownFingerprint;
  }
  setTrustShown(false);
  say(texts.text("Checking the relay…"));
  buttons.button(QDialogButtonBox::Ok)->setEnabled(false);
  check(endpoint,
        [self = QPointer(this), endpoint, attempt = ++attempts](const RelayCheck& result) {
          // Nothing when the address has been changed meanwhile.
          if (self && self->isVisible() && self->attempts == attempt) {
            self->take(endpoint, result);
          }
        });
}

void RelayDialog::take(const RelayEndpoint& endpoint, const RelayCheck& result) {
  buttons.button(QDialogButtonBox::Ok)->setEnabled(true);
  switch (result.outcome) {
    case RelayCheck::Outcome::relay:
      Q_EMIT chosen(endpoint);
      accept();
      return;
    case RelayCheck::Outcome::untrusted:
      say(texts.text(
          "This computer does not trust the relay’s certificate. Its fingerprint (SHA-256) is:"));
      shownFor = endpoint.url;
      shownFingerprint = result.fingerprint;
      fingerprint.setText(inTwoLines(result.fingerprint));
      setTrustShown(true);
      return;
    case RelayCheck::Outcome::unreachable:
      return say(texts.text("This relay cannot be reached."));
    case RelayCheck::Outcome::insecure:
      return say(texts.text("No secure connection to this address is possible."));
    case RelayCheck::Outcome::noRelay:
      return say(texts.text("There is no Orvik relay at this address."));
  }
}

}  // namespace orvik
