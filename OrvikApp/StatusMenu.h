#pragma once

#include <QAction>
#include <QMenu>
#include <QMessageBox>
#include <QObject>
#include <functional>
#include <memory>
#include <optional>

#include "core/async/Clock.h"
#include "core/client/RelayState.h"

namespace orvik {

class AppModel;
class Texts;
class Updater;

/// The menu under the menu-bar icon: the state of the link in one line, and what the user can do.
/// Main thread only.
class StatusMenu : public QObject {
  Q_OBJECT
 public:
  /// What the entries do beside what the model does.
  struct Actions {
    /// Opens the pairing window and brings it to the front.
    std::function<void()> showPairing;
    /// Asks for the end of the application.
    std::function<void()> quit;
  };

  /// Everything outlives the menu.
  StatusMenu(AppModel& model, Updater& updater, const Texts& texts, Actions actions);

  [[nodiscard]] QMenu& menu() { return entries; }
  /// The entry that quits, for windows that want its shortcut.
  [[nodiscard]] QAction& quitEntry() { return quit; }

  /// What the status line says now.
  [[nodiscard]] QString statusText() const { return status.text(); }
  /// Why the link is down, where that is known; else empty.
  [[nodiscard]] QString reasonText() const;

  /// What the menu says about the link: until when it is paused, else the state.
  [[nodiscard]] static QString statusLine(const std::optional<Clock::UnixTime>& pausedUntil,
                                          const RelayState& state, const Texts& texts);
  /// The same for the whole model: what the link waits for comes before the state.
  [[nodiscard]] static QString statusLine(const AppModel& model, const Texts& texts);

 Q_SIGNALS:
  /// The status line says something else, or the reason behind it is another.
  void statusChanged();

 private:
  void addEntries();
  QAction& add(const QString& text, std::function<void()> action);
  void redraw();
  void confirmDisconnect();

  AppModel& model;
  Updater& updater;
  const Texts& texts;
  const Actions actions;
  QMenu entries;
  QAction status;
  QAction quit;
  QAction* pause = nullptr;
  QAction* resume = nullptr;
  /// The question whether to disconnect, while it is open.
  std::unique_ptr<QMessageBox> question;
};

}  // namespace orvik
