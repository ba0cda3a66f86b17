#include "OrvikApp/UpdateDialog.h"

#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QGuiApplication>
#include <QIcon>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>

#include "OrvikApp/Texts.h"
#include "OrvikApp/platform/Activation.h"

namespace orvik {

namespace {

constexpr int iconSize = 64;
/// In characters of the font: about what is pleasant to read.
constexpr int textWidth = 46;
constexpr int notesHeight = 10;

struct Wording {
  QString headline;
  QString explanation;
};

Wording wording(const Texts& texts, const UpdateOutcome& outcome, const QString& current) {
  switch (outcome.kind) {
    case UpdateOutcome::Kind::upToDate:
      return {texts.text("You’re up to date"),
              texts.text("Orvik %@ is the newest version.", {current})};
    case UpdateOutcome::Kind::newVersion:
      return {texts.text("A new version is available"),
              texts.text("Orvik %@ is available. You have %@.", {outcome.version, current})};
    case UpdateOutcome::Kind::unreadable:
      break;
  }
  return {texts.text("Could not check for updates"),
          texts.text("The list of versions could not be read. Try again later.")};
}

QLabel* label(const QString& text, const char* name, QWidget* parent) {
  auto* const label = new QLabel(text, parent);
  label->setObjectName(QString::fromUtf8(name));
  label->setTextFormat(Qt::PlainText);
  label->setWordWrap(true);
  label->setMinimumWidth(label->fontMetrics().averageCharWidth() * textWidth);
  return label;
}

QPlainTextEdit* notesView(const QString& notes, QWidget* parent) {
  auto* const view = new QPlainTextEdit(notes, parent);
  view->setObjectName(QStringLiteral("notes"));
  view->setReadOnly(true);
  view->setTabChangesFocus(true);
  view->setMinimumHeight(view->fontMetrics().lineSpacing() * notesHeight);
  return view;
}

}  // namespace

UpdateDialog::UpdateDialog(const Texts& texts, const UpdateOutcome& outcome,
                           const QString& currentVersion) {
  setWindowTitle(QStringLiteral("Orvik"));
  setLayoutDirection(texts.direction());
  // The application lives in the menu bar and goes on without windows.
  setAttribute(Qt::WA_QuitOnClose, false);

  auto* const grid = new QGridLayout(this);
  grid->setHorizontalSpacing(2 * grid->horizontalSpacing());
  grid->setColumnStretch(1, 1);
  auto* const picture = new QLabel(this);
  picture->setPixmap(QGuiApplication::windowIcon().pixmap(iconSize));
  grid->addWidget(picture, 0, 0, 2, 1, Qt::AlignTop);

  const Wording words = wording(texts, outcome, currentVersion);
  auto* const headline = label(words.headline, "headline", this);
  QFont bold = headline->font();
  bold.setBold(true);
  headline->setFont(bold);
  grid->addWidget(headline, 0, 1);
  grid->addWidget(label(words.explanation, "explanation", this), 1, 1, Qt::AlignTop);

  const bool isNew = outcome.kind == UpdateOutcome::Kind::newVersion;
  if (isNew && !outcome.notes.isEmpty()) {
    auto* const title = label(texts.text("What’s new:"), "title", this);
    auto* const view = notesView(outcome.notes, this);
    title->setBuddy(view);
    grid->addWidget(title, 2, 1);
    grid->addWidget(view, 3, 1);
    grid->setRowStretch(3, 1);
  } else {
    grid->setSizeConstraint(QLayout::SetFixedSize);
  }

  auto* const buttons = new QDialogButtonBox(this);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  auto* const first = buttons->addButton(isNew ? texts.text("Download") : texts.text("OK"),
                                         QDialogButtonBox::AcceptRole);
  first->setDefault(true);
  first->setFocus();
  if (isNew) {
    buttons->addButton(texts.text("Later"), QDialogButtonBox::RejectRole);
    connect(this, &QDialog::accepted, this,
            [link = outcome.link] { QDesktopServices::openUrl(link); });
  }
  grid->addWidget(buttons, 4, 0, 1, 2);
}

void UpdateDialog::bringForward() {
  show();
  bringToFront(this);
}

}  // namespace orvik
