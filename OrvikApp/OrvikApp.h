#pragma once

#include <QObject>
#include <QTimer>
#include <memory>
#include <optional>

#include "OrvikApp/AppModel.h"
#include "OrvikApp/CoreThread.h"
#include "OrvikApp/MenuBarIcon.h"
#include "OrvikApp/PairingWindow.h"
#include "OrvikApp/QuitRequests.h"
#include "OrvikApp/RelayEndpoint.h"
#include "OrvikApp/StatusMenu.h"
#include "OrvikApp/Texts.h"
#include "OrvikApp/platform/TrayHost.h"
#include "OrvikApp/platform/Updater.h"

namespace orvik {

/// The application object: owns the model, the menu-bar item and the pairing window, and brings
/// them together. One exists, on the main thread, for the whole run.
class OrvikApp : public QObject {
  Q_OBJECT
 public:
  /// Starts everything. Throws std::runtime_error when the relay's certificates cannot be read.
  explicit OrvikApp(const RelayEndpoint& relay);

  /// Shows the pairing window and brings it to the front.
  void showPairing() { window.present(); }

 private:
  void trayHostChanged(bool isPresent);
  void showWithoutIcon();

  const Texts texts;
  CoreThread core;
  QuitRequests quitRequests;
  const std::unique_ptr<Updater> updater;
  AppModel model;
  StatusMenu menu;
  PairingWindow window;
  /// Runs while the desktop has no place for the icon.
  QTimer panelTimer;
  const std::unique_ptr<TrayHost> trayHost;
  std::optional<MenuBarIcon> icon;
};

}  // namespace orvik
