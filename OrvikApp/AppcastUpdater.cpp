#include "OrvikApp/AppcastUpdater.h"

#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QGuiApplication>
#include <QIcon>
#include <QLabel>
#include <QNetworkReply>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>
#include <utility>

#include "OrvikApp/Texts.h"
#include "OrvikApp/platform/Windows.h"
#include "core/BuildConstants.h"

namespace orvik {

namespace {

constexpr qsizetype longestFeed = 1'048'576;
constexpr int iconSize = 64;
/// In characters of the font: about what is pleasant to read.
constexpr int textWidth = 46;
constexpr int notesHeight = 10;

const QString version = QString::fromUtf8(build::version);

QNetworkRequest request(const QUrl& feed) {
  QNetworkRequest request(feed);
  request.setHeader(QNetworkRequest::UserAgentHeader, QStringLiteral("Orvik/") + version);
  // What is compressed could be far longer than it seems.
  request.setRawHeader("Accept-Encoding", "identity");
  request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
  return request;
}

QLabel* label(const QString& text, bool isBold) {
  auto* const label = new QLabel(text);
  QFont font = label->font();
  font.setBold(isBold);
  label->setFont(font);
  label->setTextFormat(Qt::PlainText);
  label->setWordWrap(true);
  label->setMinimumWidth(label->fontMetrics().averageCharWidth() * textWidth);
  return label;
}

std::pair<QString, QString> wording(const Texts& texts, const UpdateOutcome& outcome) {
  switch (outcome.kind) {
    case UpdateOutcome::Kind::upToDate:
      return {texts.text("You’re up to date"),
              texts.text("Orvik %@ is the newest version.", {version})};
    case UpdateOutcome::Kind::newVersion:
      return {texts.text("A new version is available"),
              texts.text("Orvik %@ is available. You have %@.", {outcome.version, version})};
    case UpdateOutcome::Kind::unreadable:
      break;
  }
  return {texts.text("Could not check for updates"),
          texts.text("The list of versions could not be read. Try again later.")};
}

}  // namespace

AppcastUpdater::AppcastUpdater(const Texts& texts, QUrl feed, UpdateTarget target,
                               std::chrono::milliseconds timeout)
    : texts(texts), feed(std::move(feed)), target(std::move(target)), timeout(timeout) {}

void AppcastUpdater::checkForUpdates() {
  if (dialog && dialog->isVisible()) {
    bringToFront(dialog.get());
    return;
  }
  if (feed.scheme() != QStringLiteral("https")) {
    show({});
    return;
  }
  showChecking();
  // The toolkit follows redirects as long as they stay with https.
  QNetworkReply* const reply = network.get(request(feed));
  QTimer::singleShot(timeout, reply, &QNetworkReply::abort);
  QObject::connect(dialog.get(), &QDialog::rejected, reply, &QNetworkReply::abort);
  QObject::connect(reply, &QNetworkReply::readyRead, reply, [reply] {
    if (reply->bytesAvailable() > longestFeed) {
      reply->abort();
    }
  });
  QObject::connect(reply, &QNetworkReply::finished, reply, [this, reply] {
    reply->deleteLater();
    if (!dialog || !dialog->isVisible()) {
      return;  // the user has called it off
    }
    show(reply->error() == QNetworkReply::NoError ? decideUpdate(reply->readAll(), version, target)
                                                  : UpdateOutcome());
  });
}

/// What is there until the outcome takes its place.
void AppcastUpdater::showChecking() {
  dialog = std::make_unique<QDialog>();
  dialog->setWindowTitle(QStringLiteral("Orvik"));
  dialog->setLayoutDirection(texts.direction());
  dialog->setAttribute(Qt::WA_QuitOnClose, false);
  auto* const layout = new QVBoxLayout(dialog.get());
  layout->setSizeConstraint(QLayout::SetFixedSize);
  layout->addWidget(label(texts.text("Checking for updates…"), false));
  auto* const progress = new QProgressBar;
  progress->setRange(0, 0);
  progress->setTextVisible(false);
  layout->addWidget(progress);
  auto* const buttons = new QDialogButtonBox;
  buttons->addButton(texts.text("Cancel"), QDialogButtonBox::RejectRole);
  QObject::connect(buttons, &QDialogButtonBox::rejected, dialog.get(), &QDialog::reject);
  layout->addWidget(buttons);
  dialog->show();
  bringToFront(dialog.get());
}

void AppcastUpdater::show(const UpdateOutcome& outcome) {
  dialog = std::make_unique<QDialog>();
  dialog->setWindowTitle(QStringLiteral("Orvik"));
  dialog->setLayoutDirection(texts.direction());
  // The application lives in the menu bar and goes on without windows.
  dialog->setAttribute(Qt::WA_QuitOnClose, false);

  auto* const grid = new QGridLayout(dialog.get());
  grid->setHorizontalSpacing(2 * grid->horizontalSpacing());
  grid->setColumnStretch(1, 1);
  auto* const picture = new QLabel;
  picture->setPixmap(QGuiApplication::windowIcon().pixmap(iconSize));
  grid->addWidget(picture, 0, 0, 2, 1, Qt::AlignTop);
  const auto [headline, explanation] = wording(texts, outcome);
  grid->addWidget(label(headline, true), 0, 1);
  grid->addWidget(label(explanation, false), 1, 1, Qt::AlignTop);
  if (outcome.notes.isEmpty()) {
    grid->setSizeConstraint(QLayout::SetFixedSize);
  } else {
    auto* const title = label(texts.text("What’s new:"), false);
    auto* const notes = new QPlainTextEdit(outcome.notes);
    notes->setReadOnly(true);
    notes->setTabChangesFocus(true);
    notes->setMinimumHeight(notes->fontMetrics().lineSpacing() * notesHeight);
    title->setBuddy(notes);
    grid->addWidget(title, 2, 1);
    grid->addWidget(notes, 3, 1);
    grid->setRowStretch(3, 1);
  }

  auto* const buttons = new QDialogButtonBox;
  grid->addWidget(buttons, 4, 0, 1, 2);
  QObject::connect(buttons, &QDialogButtonBox::accepted, dialog.get(), &QDialog::accept);
  QObject::connect(buttons, &QDialogButtonBox::rejected, dialog.get(), &QDialog::reject);
  const bool isNew = outcome.kind == UpdateOutcome::Kind::newVersion;
  auto* const first = buttons->addButton(isNew ? texts.text("Download") : texts.text("OK"),
                                         QDialogButtonBox::AcceptRole);
  first->setDefault(true);
  first->setFocus();
  if (isNew) {
    buttons->addButton(texts.text("Later"), QDialogButtonBox::RejectRole);
    QObject::connect(dialog.get(), &QDialog::accepted, dialog.get(),
                     [link = outcome.link] { QDesktopServices::openUrl(link); });
  }
  dialog->show();
  bringToFront(dialog.get());
}

}  // namespace orvik
