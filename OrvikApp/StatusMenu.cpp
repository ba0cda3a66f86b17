#include "OrvikApp/StatusMenu.h"

#include <QDateTime>
#include <QPushButton>
#include <utility>

#include "OrvikApp/AppModel.h"
#include "OrvikApp/Texts.h"
#include "OrvikApp/platform/Conventions.h"
#include "OrvikApp/platform/Updater.h"
#include "OrvikApp/platform/Windows.h"

namespace orvik {

namespace {

/// Not part of the texts: it stands before them in every language.
const QString bullet = QStringLiteral("● ");

QString text(const relayState::Online& online, const Texts& texts) {
  return bullet + (online.viewers >= 1 ? texts.phones(online.viewers) : texts.text("Online"));
}
QString text(const relayState::Connecting& /*state*/, const Texts& texts) {
  return texts.text("Connecting…");
}
QString text(const relayState::Rejected& /*state*/, const Texts& texts) {
  return texts.text("Pairing lost – add a phone again");
}
QString text(const relayState::Waiting& /*state*/, const Texts& texts) {
  return texts.text("Offline – reconnecting…");
}
// After a sleep or a disconnect: deliberately the same as while waiting.
QString text(const relayState::Stopped& /*state*/, const Texts& texts) {
  return texts.text("Offline – reconnecting…");
}

QString shortTime(Clock::UnixTime time, const QLocale& locale) {
  const auto local = QDateTime::fromMSecsSinceEpoch(epochMilliseconds(time));
  return locale.toString(local.time(), QLocale::ShortFormat);
}

}  // namespace

StatusMenu::StatusMenu(AppModel& model, Updater& updater, const Texts& texts, Actions actions)
    : model(model), updater(updater), texts(texts), actions(std::move(actions)) {
  addEntries();
  redraw();
  connect(&model, &AppModel::stateChanged, this, &StatusMenu::redraw);
  connect(&model, &AppModel::pausedUntilChanged, this, &StatusMenu::redraw);
  connect(&model, &AppModel::pairingNewsChanged, this, &StatusMenu::redraw);
}

QString StatusMenu::statusLine(const std::optional<Clock::UnixTime>& pausedUntil,
                               const RelayState& state, const Texts& texts) {
  if (pausedUntil) {
    return texts.text("Paused until %@", {shortTime(*pausedUntil, texts.locale())});
  }
  return std::visit([&texts](const auto& which) { return text(which, texts); }, state);
}

QString StatusMenu::statusLine(const AppModel& model, const Texts& texts) {
  if (!model.isPaused()) {
    switch (model.waitsFor()) {
      case AppModel::Wait::relay:
        return texts.text("No relay has been chosen yet");
      case AppModel::Wait::keyring:
        return texts.text("Waiting for the keyring…");
      case AppModel::Wait::otherProgram:
        return texts.text("Connected by another program: %@",
                          {QString::fromStdString(model.pairingNews().otherProgram)});
      case AppModel::Wait::nothing:
        break;
    }
  }
  return statusLine(model.pausedUntil(), model.state(), texts);
}

QString StatusMenu::reasonText() const {
  const auto* waiting = std::get_if<relayState::Waiting>(&model.state());
  if (waiting == nullptr || model.isPaused() || model.waitsFor() != AppModel::Wait::nothing) {
    return {};
  }
  switch (waiting->kind) {
    case LinkFailure::unreachable:
      return texts.text("This relay cannot be reached.");
    case LinkFailure::insecure:
      return texts.text("No secure connection to this address is possible.");
    case LinkFailure::busy:
      return texts.text("The relay is busy.");
    case LinkFailure::other:
      break;
  }
  return QString::fromStdString(waiting->reason);
}

void StatusMenu::addEntries() {
  entries.setTitle(texts.text("Orvik"));
  auto* heading = entries.addAction(texts.text("Orvik"));
  heading->setEnabled(false);
  status.setEnabled(!conventions::areDisabledEntriesReadable());
  entries.addAction(&status);
  entries.addSeparator();
  add(texts.text("Add a phone…"), actions.showPairing);
  resume = &add(texts.text("Resume"), [this] { model.resume(); });
  pause = &add(texts.text("Pause for 1 hour"), [this] { model.pauseOneHour(); });
  add(texts.text("Disconnect all phones…"), [this] { confirmDisconnect(); });
  entries.addSeparator();
  add(texts.text("Check for Updates…"), [this] {
    bringToFront(nullptr);
    updater.checkForUpdates();
  });
  quit.setText(texts.text("Quit Orvik"));
  quit.setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
  // The place of an entry is ours to say on every system.
  quit.setMenuRole(QAction::NoRole);
  connect(&quit, &QAction::triggered, this, [this] { actions.quit(); });
  entries.addAction(&quit);
}

QAction& StatusMenu::add(const QString& text, std::function<void()> action) {
  auto* entry = entries.addAction(text);
  entry->setMenuRole(QAction::NoRole);
  connect(entry, &QAction::triggered, this, std::move(action));
  return *entry;
}

void StatusMenu::redraw() {
  status.setText(statusLine(model, texts));
  pause->setVisible(!model.isPaused());
  resume->setVisible(model.isPaused());
  Q_EMIT statusChanged();
}

void StatusMenu::confirmDisconnect() {
  if (question) {
    bringToFront(question.get());
    return;
  }
  question = std::make_unique<QMessageBox>();
  question->setIcon(QMessageBox::Warning);
  question->setWindowTitle(texts.text("Orvik"));
  question->setText(texts.text("Disconnect all phones?"));
  question->setInformativeText(texts.text("Every phone will need to scan the new code."));
  auto* disconnect = question->addButton(texts.text("Disconnect"), QMessageBox::AcceptRole);
  auto* cancel = question->addButton(texts.text("Cancel"), QMessageBox::RejectRole);
  question->setDefaultButton(disconnect);
  question->setEscapeButton(cancel);
  connect(question.get(), &QMessageBox::finished, this, [this, disconnect] {
    const bool isConfirmed = question->clickedButton() == disconnect;
    question.release()->deleteLater();
    if (isConfirmed) {
      model.disconnectAllPhones();
      actions.showPairing();
    }
  });
  question->setWindowModality(Qt::ApplicationModal);
  question->show();
  bringToFront(question.get());
}

}  // namespace orvik
