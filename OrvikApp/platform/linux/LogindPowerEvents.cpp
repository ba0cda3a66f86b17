#include "OrvikApp/platform/linux/LogindPowerEvents.h"

#include <QDBusPendingReply>
#include <QDBusUnixFileDescriptor>
#include <utility>

namespace orvik {

namespace {

const QString service = QStringLiteral("org.freedesktop.login1");
const QString object = QStringLiteral("/org/freedesktop/login1");
const QString interface = QStringLiteral("org.freedesktop.login1.Manager");

}  // namespace

LogindPowerEvents::LogindPowerEvents(const QDBusConnection& bus)
    : bus(bus), serviceWatcher(service, bus, QDBusServiceWatcher::WatchForOwnerChange) {
  connect(&serviceWatcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
          &LogindPowerEvents::changeOwner);
  // From every sender: naming the service would make Qt wait for the bus to say who that is.
  this->bus.connect(QString(), object, interface, QStringLiteral("PrepareForSleep"), this,
                    SLOT(prepareForSleep(bool, QDBusMessage)));
  takeLock();
}

PowerEvents::Observer LogindPowerEvents::onWillSleep(std::function<void(const SleepHold&)> action) {
  return sleepObservers.emplace_back(
      std::make_shared<std::function<void(const SleepHold&)>>(std::move(action)));
}

PowerEvents::Observer LogindPowerEvents::onDidWake(std::function<void()> action) {
  return wakeObservers.emplace_back(std::make_shared<std::function<void()>>(std::move(action)));
}

void LogindPowerEvents::prepareForSleep(bool isBeginning, const QDBusMessage& announcement) {
  if (logind.isEmpty() || announcement.service() != logind) {
    return;
  }
  if (isBeginning) {
    tellSleep();
  } else {
    if (!lock) {
      takeLock();
    }
    tellWake();
  }
}

void LogindPowerEvents::changeOwner(const QString& /*service*/, const QString& /*before*/,
                                    const QString& now) {
  logind = now;
  asking.reset();
  lock = FileDescriptor();
  if (!logind.isEmpty()) {
    takeLock();
  }
  if (isAsleep) {
    // The one that announced the sleep will not announce its end.
    tellWake();
  }
}

void LogindPowerEvents::takeLock() {
  QDBusMessage call =
      QDBusMessage::createMethodCall(service, object, interface, QStringLiteral("Inhibit"));
  call << QStringLiteral("sleep") << QStringLiteral("Orvik")
       << QStringLiteral("Says goodbye to the relay") << QStringLiteral("delay");
  asking = std::make_unique<QDBusPendingCallWatcher>(bus.asyncCall(call));
  connect(asking.get(), &QDBusPendingCallWatcher::finished, this, &LogindPowerEvents::keepLock);
}

void LogindPowerEvents::keepLock(QDBusPendingCallWatcher* finished) {
  const QDBusPendingReply<QDBusUnixFileDescriptor> reply = *finished;
  // The bus itself answers for a service that is not there. One that refuses the lock announces
  // sleep all the same.
  if (const QString sender = reply.reply().service(); sender.startsWith(QLatin1Char(':'))) {
    logind = sender;
  }
  if (reply.isValid()) {
    lock = FileDescriptor(reply.value().takeFileDescriptor());
  }
}

void LogindPowerEvents::tellSleep() {
  isAsleep = true;
  asking.reset();
  const SleepHold hold = lock ? std::make_shared<FileDescriptor>(std::move(lock)) : SleepHold();
  // An observer may add another.
  for (const auto& observer : std::vector(sleepObservers)) {
    (*observer)(hold);
  }
}

void LogindPowerEvents::tellWake() {
  isAsleep = false;
  for (const auto& observer : std::vector(wakeObservers)) {
    (*observer)();
  }
}

std::unique_ptr<PowerEvents> openPowerEvents() {
  return std::make_unique<LogindPowerEvents>(QDBusConnection::systemBus());
}

}  // namespace orvik
