#pragma once

#include <QObject>
#include <QTimer>
#include <memory>
#include <optional>

#include "OrvikApp/AddPhone.h"
#include "OrvikApp/AppModel.h"
#include "OrvikApp/CoreThread.h"
#include "OrvikApp/MenuBarIcon.h"
#include "OrvikApp/PairingWindow.h"
#include "OrvikApp/QuitRequests.h"
#include "OrvikApp/RelayDialog.h"
#include "OrvikApp/StatusMenu.h"
#include "OrvikApp/Texts.h"
#include "OrvikApp/platform/TrayHost.h"
#include "OrvikApp/platform/Updater.h"
#include "core/client/RelayEndpoint.h"

namespace orvik {

/// The application object: owns the model, the menu-bar item and the pairing window, and brings
/// them together. One exists, on the main thread, for the whole run.
class OrvikApp : public QObject {
  Q_OBJECT
 public:
  /// Starts everything. `present` has no URL while none is chosen: the user is asked for one.
  /// One that the user has just named is tried, and asked about if need be.
  OrvikApp(const RelayEndpoint& present, bool isRelayNew);

  /// Shows the pairing's code, or what stands between the user and it, and brings it to the front.
  void showPairing() { addPhone.begin(); }
  /// The user has started the application once more, perhaps to name another relay.
  void startedAgain();

 private:
  void takeStored(const std::optional<RelayEndpoint>& stored);
  void trayHostChanged(bool isPresent);
  void showWithoutIcon();
  /// Asks which relay to use; with an address that is to be tried at once.
  void chooseRelay(const std::optional<RelayEndpoint>& proposed = std::nullopt);
  void verifyRelay(bool isNamed);
  void remember(const RelayEndpoint& chosen);
  void check(const RelayEndpoint& endpoint, std::function<void(RelayCheck)> answer);
  void useRelay(const RelayEndpoint& chosen);

  const Texts texts;
  CoreThread core;
  QuitRequests quitRequests;
  const std::unique_ptr<Updater> updater;
  const std::shared_ptr<RelayEndpoint> relay;
  AppModel model;
  StatusMenu menu;
  PairingWindow window;
  AddPhone addPhone;
  std::unique_ptr<RelayDialog> relayDialog;
  bool isWelcomed = false;
  /// Runs while the desktop has no place for the icon.
  QTimer panelTimer;
  const std::unique_ptr<TrayHost> trayHost;
  std::optional<MenuBarIcon> icon;
};

}  // namespace orvik
