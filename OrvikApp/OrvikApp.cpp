#include "OrvikApp/OrvikApp.h"

#include <QGuiApplication>
#include <QPointer>
#include <chrono>
#include <utility>

#include "OrvikApp/CoreModelClock.h"
#include "OrvikApp/PairingLinkFile.h"
#include "OrvikApp/RelayClientLink.h"
#include "OrvikApp/TerminationSignals.h"
#include "OrvikApp/platform/SystemRequests.h"
#include "core/system/HostName.h"

namespace orvik {

namespace {

using namespace std::chrono_literals;

/// A panel may start after the application, or again after a crash.
constexpr auto panelPatience = 5s;

AppModel::Surroundings surroundings(const asio::any_io_executor& executor,
                                    const RelayEndpoint& relay) {
  const auto clock = std::make_shared<SystemClock>();
  return {
      .makeRelayLink = RelayClientLink::ofThisMachine(executor, clock, relay),
      .secretStore = openSecretStore(),
      .loginItem = openLoginItem(),
      .powerEvents = openPowerEvents(),
      .clock = std::make_shared<CoreModelClock>(executor, clock),
      .hostName = localizedHostName(),
  };
}

}  // namespace

OrvikApp::OrvikApp(const RelayEndpoint& relay)
    : texts(Texts::userLocale(), QLocale::system()),
      quitRequests([] { QGuiApplication::exit(); }),
      updater(startUpdater(texts)),
      model(surroundings(core.executor(), relay)),
      menu(model, *updater, texts,
           {.showPairing = [this] { showPairing(); },
            .quit = [this] { quitRequests.requestQuit(); }}),
      window(model, menu, texts),
      trayHost(watchTrayHost([this](bool isPresent) { trayHostChanged(isPresent); })) {
  QGuiApplication::setLayoutDirection(texts.direction());
  answerQuitQuestion([requests = QPointer(&quitRequests)](std::function<void()> allow) {
    return requests ? requests->answer(std::move(allow)) : TerminateReply::now;
  });
  onTerminationSignal(core.executor(), [this] { quitRequests.requestQuit(); });
  patience.setSingleShot(true);
  patience.setInterval(panelPatience);
  connect(&patience, &QTimer::timeout, this, &OrvikApp::showWithoutIcon);
  keepPairingLinkFile(model);
  trayHostChanged(trayHost->isPresent());
  if (model.isFirstLaunch()) {
    showPairing();
  }
}

void OrvikApp::trayHostChanged(bool isPresent) {
  if (!isPresent) {
    patience.start();
    return;
  }
  patience.stop();
  window.setHoldsMenu(false);
  if (!icon) {
    icon.emplace(model, menu.menu());
  }
}

void OrvikApp::showWithoutIcon() {
  window.setHoldsMenu(true);
  showPairing();
}

}  // namespace orvik
