#include "OrvikApp/OrvikApp.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/post.hpp>

#include <QGuiApplication>
#include <QPointer>
#include <chrono>
#include <cstdio>
#include <string>
#include <utility>

#include "OrvikApp/CoreModelClock.h"
#include "OrvikApp/RelayClientLink.h"
#include "OrvikApp/TerminationSignals.h"
#include "OrvikApp/platform/SystemRequests.h"
#include "OrvikApp/platform/Windows.h"
#include "core/BuildConstants.h"
#include "core/system/HostName.h"
#include "core/system/ReplaceFile.h"

namespace orvik {

namespace {

using namespace std::chrono_literals;

/// A panel may start after the application, or again after a crash.
constexpr auto panelTimeout = 5s;

AppModel::Dependencies dependenciesOf(const asio::any_io_executor& executor,
                                      const std::shared_ptr<const RelayEndpoint>& relay) {
  const auto clock = std::make_shared<SystemClock>();
  return {
      .makeRelayLink = RelayClientLink::ofThisMachine(executor, clock, relay),
      .pairings =
          openPairingSource(executor, clock, RelayClientLink::revoking(executor, clock, relay)),
      .loginItem = openLoginItem(),
      .powerEvents = openPowerEvents(),
      .clock = std::make_shared<CoreModelClock>(executor, clock),
      .hostName = localizedHostName(),
      .linkHost = relay->linkHost,
  };
}

/// For developers who pair a phone without a camera: where the environment variable
/// ORVIK_LINK_FILE names a file, it holds the present pairing's link for as long as the model
/// lives, readable by the user alone.
void keepPairingLinkFile(AppModel& model) {
  const std::string path =
      build::isDevelopment ? qgetenv("ORVIK_LINK_FILE").toStdString() : std::string();
  if (path.empty()) {
    return;
  }
  const auto write = [&model, path] {
    FileOperations operations;
    const SecretText link = model.link();
    const SecretText line{link.text(), "\n"};
    if (!link.text().empty() && !replaceFile(path, line.text(), operations)) {
      std::fprintf(stderr, "orvik: the link cannot be written to %s\n", path.c_str());
    }
  };
  QObject::connect(&model, &AppModel::pairingChanged, &model, write);
}

}  // namespace

OrvikApp::OrvikApp(const RelayEndpoint& present, bool isRelayNew)
    : texts(Texts::userLocale(), QLocale::system()),
      quitRequests([] { QGuiApplication::exit(); }),
      updater(startUpdater(texts)),
      relay(std::make_shared<RelayEndpoint>(present)),
      model(dependenciesOf(core.executor(), relay)),
      menu(model, *updater, texts,
           {.showPairing = [this] { showPairing(); },
            .quit = [this] { quitRequests.requestQuit(); }}),
      window(model, menu, texts),
      addPhone(
          model, texts,
          {.showCode = [this] { window.present(); }, .chooseRelay = [this] { chooseRelay(); }}),
      trayHost(watchTrayHost([this](bool isPresent) { trayHostChanged(isPresent); })) {
  QGuiApplication::setLayoutDirection(texts.direction());
  answerQuitQuestion([requests = QPointer(&quitRequests)](std::function<void()> allow) {
    return requests ? requests->answer(std::move(allow)) : TerminateReply::now;
  });
  onTerminationSignal(core.executor(), [this] { quitRequests.requestQuit(); });
  panelTimer.setSingleShot(true);
  panelTimer.setInterval(panelTimeout);
  connect(&panelTimer, &QTimer::timeout, this, &OrvikApp::showWithoutIcon);
  connect(&window, &PairingWindow::codeWanted, this, &OrvikApp::showPairing);
  keepPairingLinkFile(model);
  trayHostChanged(trayHost->isPresent());
  connect(&model, &AppModel::pairingChanged, this, [this] {
    if (model.isFirstLaunch() && !model.link().text().empty() && !std::exchange(isWelcomed, true)) {
      showPairing();
    }
  });
  if (present.url.empty()) {
    chooseRelay();
  } else if (isRelayNew) {
    verifyRelay(true);
  }
}

void OrvikApp::startedAgain() {
  // Another process may have stored another relay. The disk may take its time to say so.
  asio::post(core.executor(), [self = QPointer(this), used = *relay] {
    std::optional<RelayEndpoint> chosen;
    try {
      chosen = RelayEndpoint::present(*RelayEndpoint::preferences());
    } catch (const std::exception&) {
      // A developer's variable, which was right at the start, or no memory: nothing has changed.
    }
    onMainThread([self, chosen, used] {
      if (self) {
        // Whatever the user has chosen meanwhile is newer.
        self->takeStored(*self->relay == used ? chosen : std::nullopt);
      }
    });
  });
}

void OrvikApp::takeStored(const std::optional<RelayEndpoint>& stored) {
  if (stored && *stored != *relay) {
    useRelay(*stored);
    verifyRelay(true);
  } else if (!relay->url.empty() && !std::holds_alternative<relayState::Online>(model.state())) {
    verifyRelay(false);
  }
  showPairing();
}

void OrvikApp::useRelay(const RelayEndpoint& chosen) {
  *relay = chosen;
  model.useRelay(chosen.linkHost);
}

/// Whoever names a relay on the command line learns in a window what is wrong with it. One whose
/// certificate has changed is asked about; one that needs to be trusted no more is not.
void OrvikApp::verifyRelay(bool isNamed) {
  RelayEndpoint unpinned = *relay;
  unpinned.fingerprint.clear();
  check(unpinned, [this, unpinned, isNamed, tried = *relay](const RelayCheck& result) {
    if (tried != *relay) {
      return;
    }
    if (result.outcome == RelayCheck::Outcome::relay) {
      if (tried != unpinned) {
        remember(unpinned);
        useRelay(unpinned);
      }
    } else if (result.outcome == RelayCheck::Outcome::untrusted
                   ? result.fingerprint != tried.fingerprint
                   : isNamed) {
      chooseRelay(unpinned);
    }
  });
}

/// On the core's thread: it takes as long as the disk does. One that cannot be stored is used until
/// the application ends, and asked for again.
void OrvikApp::remember(const RelayEndpoint& chosen) {
  asio::post(core.executor(), [self = QPointer(this), chosen] {
    if (!chosen.remember(*RelayEndpoint::preferences())) {
      onMainThread([self] {
        if (self) {
          self->addPhone.say(
              self->texts.text("The relay could not be saved. It is used until Orvik quits."));
        }
      });
    }
  });
}

void OrvikApp::check(const RelayEndpoint& endpoint, std::function<void(RelayCheck)> answer) {
  asio::co_spawn(
      core.executor(), checkRelay(core.executor(), std::make_shared<SystemClock>(), endpoint),
      [answer = std::move(answer)](const std::exception_ptr& failure, const RelayCheck& result) {
        onMainThread([answer, result = failure ? RelayCheck() : result] { answer(result); });
      });
}

void OrvikApp::chooseRelay(const std::optional<RelayEndpoint>& proposed) {
  if (!relayDialog || !relayDialog->isVisible() || proposed) {
    relayDialog = std::make_unique<RelayDialog>(
        texts, proposed.value_or(*relay),
        [this](const RelayEndpoint& endpoint, std::function<void(RelayCheck)> answer) {
          check(endpoint, std::move(answer));
        });
    connect(relayDialog.get(), &RelayDialog::chosen, this, [this](const RelayEndpoint& chosen) {
      remember(chosen);
      useRelay(chosen);
    });
  }
  relayDialog->show();
  bringToFront(relayDialog.get());
  if (proposed) {
    relayDialog->tryAddress();
  }
}

void OrvikApp::trayHostChanged(bool isPresent) {
  if (!isPresent) {
    panelTimer.start();
    return;
  }
  panelTimer.stop();
  window.setHoldsMenu(false);
  if (!icon) {
    icon.emplace(model, menu);
    connect(&*icon, &MenuBarIcon::menuWantedElsewhere, &window, &PairingWindow::presentMenu);
  }
}

void OrvikApp::showWithoutIcon() {
  window.setHoldsMenu(true);
  window.presentMenu();
}

}  // namespace orvik
