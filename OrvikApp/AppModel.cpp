#include "OrvikApp/AppModel.h"

#include <QPointer>
#include <chrono>
#include <utility>

namespace orvik {

namespace {

constexpr std::chrono::hours pauseLength{1};

QPointer<AppModel>& currentModel() {
  static QPointer<AppModel> model;
  return model;
}

}  // namespace

AppModel* AppModel::current() { return currentModel(); }

AppModel::AppModel(Dependencies given)
    : dependencies(std::move(given)),
      name(dependencies.hostName.value_or("Mac")),
      linkHost(dependencies.linkHost) {
  published.launchAtLogin = isRegistered();
  observeSleep();
  currentModel() = this;
  dependencies.pairings->start([model = QPointer(this)](const PairingNews& news) {
    if (model) {
      model->pairingReported(news);
    }
  });
}

void AppModel::pairingReported(const PairingNews& news) {
  if (news.replacements < replacements) {
    return;  // told before the pairing was replaced
  }
  if (news.isNew && !firstLaunch) {
    firstLaunch = true;
    // Where nothing can be kept every launch looks like the first.
    if (news.isKept && news.isFirst) {
      registerLoginItem(true);
      publish(&Published::launchAtLogin, isRegistered(), &AppModel::launchAtLoginChanged);
    }
  }
  const bool isOther = pairing() != news.pairing;
  if (isOther || news.waitsFor != PairingNews::WaitsFor::nothing) {
    disconnect();
  }
  publish(&Published::news, news, &AppModel::pairingNewsChanged);
  publish(&Published::pairing, news.pairing, &AppModel::pairingChanged);
  if (!isAway) {
    connect();
  }
}

AppModel::Wait AppModel::waitsFor() const {
  if (linkHost.empty()) {
    return Wait::relay;
  }
  switch (published.news.waitsFor) {
    case PairingNews::WaitsFor::keyring:
      return Wait::keyring;
    case PairingNews::WaitsFor::otherProgram:
      return Wait::otherProgram;
    case PairingNews::WaitsFor::nothing:
      break;
  }
  return Wait::nothing;
}

SecretText AppModel::link() const {
  return pairing() && !linkHost.empty() ? pairing()->link(name, linkHost) : SecretText();
}

void AppModel::useRelay(const std::string& host) {
  disconnect();
  linkHost = host;
  Q_EMIT pairingNewsChanged();
  Q_EMIT pairingChanged();
  connect();
}

template <typename Value>
void AppModel::publish(Value Published::*member, Value value, void (AppModel::*changed)()) {
  if (published.*member != value) {
    published.*member = std::move(value);
    Q_EMIT(this->*changed)();
  }
}

void AppModel::connect() {
  isAway = false;
  if (client || isPaused() || !pairing() || waitsFor() != Wait::nothing) {
    return;
  }
  client = dependencies.makeRelayLink(
      *pairing(), [model = QPointer(this), link = ++linkCount](const RelayState& state) {
        if (model) {
          model->linkReported(link, state);
        }
      });
  client->start();
}

void AppModel::linkReported(std::uint64_t link, const RelayState& state) {
  // What a link says after its end must not hide the state of the link that took its place, nor
  // look like a connection where there is none.
  const bool isNewest = link == linkCount;
  if (isNewest && (client || std::holds_alternative<relayState::Stopped>(state))) {
    publish(&Published::state, state, &AppModel::stateChanged);
  }
}

void AppModel::disconnect() { disconnect(nullptr); }

void AppModel::disconnect(const PowerEvents::SleepHold& hold) {
  if (const auto link = std::exchange(client, nullptr)) {
    // The machine sleeps no earlier than the relay knows.
    link->stop([hold] {});
    publish(&Published::state, RelayState(relayState::Stopped{}), &AppModel::stateChanged);
  }
}

void AppModel::pauseOneHour() {
  disconnect();
  publish(&Published::pausedUntil, std::optional(dependencies.clock->now() + pauseLength),
          &AppModel::pausedUntilChanged);
  // A task from an earlier pause is let go of, not cancelled: its hour runs out at its own time.
  resumeTask = dependencies.clock->after(pauseLength, [model = QPointer(this)] {
    if (model) {
      model->resume();
    }
  });
}

void AppModel::resume() {
  if (const auto task = std::exchange(resumeTask, nullptr)) {
    task->cancel();
  }
  publish(&Published::pausedUntil, std::optional<Clock::UnixTime>(), &AppModel::pausedUntilChanged);
  connect();
}

void AppModel::disconnectAllPhones() {
  disconnect();
  ++replacements;
  publish(&Published::pairing, std::optional<Pairing>(), &AppModel::pairingChanged);
  dependencies.pairings->replace();
}

bool AppModel::sayGoodbye(std::function<void()> then) {
  const auto link = std::exchange(client, nullptr);
  isAway = true;
  if (!link) {
    return false;
  }
  link->stop(std::move(then));
  return true;
}

void AppModel::setLaunchAtLogin(bool on) {
  publish(&Published::launchAtLogin, on, &AppModel::launchAtLoginChanged);
  registerLoginItem(on);
  refreshLaunchAtLogin();
}

void AppModel::refreshLaunchAtLogin() {
  publish(&Published::launchAtLogin, isRegistered(), &AppModel::launchAtLoginChanged);
}

bool AppModel::isRegistered() const {
  const LoginItem::Status status = dependencies.loginItem->status();
  return status == LoginItem::Status::enabled || status == LoginItem::Status::requiresApproval;
}

void AppModel::registerLoginItem(bool on) {
  if (on != isRegistered()) {
    // What the system refuses shows in the switch.
    dependencies.loginItem->setRegistered(on);
  }
}

void AppModel::observeSleep() {
  observers.push_back(dependencies.powerEvents->onWillSleep(
      [model = QPointer(this)](const PowerEvents::SleepHold& hold) {
        if (model) {
          model->disconnect(hold);
          model->isAway = true;
        }
      }));
  observers.push_back(dependencies.powerEvents->onDidWake([model = QPointer(this)] {
    if (model) {
      model->connect();
    }
  }));
}

}  // namespace orvik
