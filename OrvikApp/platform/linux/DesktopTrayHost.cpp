#include "OrvikApp/platform/linux/DesktopTrayHost.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <chrono>
#include <utility>

namespace orvik {

namespace {

using namespace std::chrono_literals;

const QString watcherName = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString watcherPath = QStringLiteral("/StatusNotifierWatcher");

/// How long a panel on the bus may take to follow the watcher of its items. Desktops start both,
/// and often a tray of the older kind as well, for applications that know no other.
constexpr auto hostTimeout = 3s;

}  // namespace

DesktopTrayHost::DesktopTrayHost(std::function<void(bool isPresent)> changed)
    : changed(std::move(changed)),
      owners(watcherName, QDBusConnection::sessionBus()),
      embedding([this] {
        QMetaObject::invokeMethod(
            this, [this] { set(hasEmbedding, embedding.isPresent()); }, Qt::QueuedConnection);
      }),
      hasEmbedding(embedding.isPresent()) {
  connect(&owners, &QDBusServiceWatcher::serviceRegistered, this, &DesktopTrayHost::ask);
  connect(&owners, &QDBusServiceWatcher::serviceUnregistered, this,
          [this] { set(hasHost, false); });
  connect(&expectation, &QTimer::timeout, this, [this] { set(expectsHost, false); });
  expectation.setSingleShot(true);
  expectation.start(hostTimeout);
  watch(QStringLiteral("StatusNotifierHostRegistered"));
  watch(QStringLiteral("StatusNotifierHostUnregistered"));
  ask();
}

void DesktopTrayHost::watch(const QString& signal) {
  QDBusConnection::sessionBus().connect(watcherName, watcherPath, watcherName, signal, this,
                                        SLOT(ask()));
}

void DesktopTrayHost::ask() {
  auto question = QDBusMessage::createMethodCall(watcherName, watcherPath,
                                                 QStringLiteral("org.freedesktop.DBus.Properties"),
                                                 QStringLiteral("Get"));
  question << watcherName << QStringLiteral("IsStatusNotifierHostRegistered");
  question.setAutoStartService(false);
  auto* call = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(question),
                                           this);  // until it has been answered
  connect(call, &QDBusPendingCallWatcher::finished, this, [this, call] {
    const QDBusPendingReply<QDBusVariant> reply = *call;
    set(hasHost, reply.isValid() && reply.value().variant().toBool());
    if (!reply.isValid()) {
      set(expectsHost, false);
    }
    call->deleteLater();
  });
}

bool DesktopTrayHost::isPresent() const {
  const bool embeds = hasEmbedding && !expectsHost;
  return isOnBus ? (*isOnBus ? hasHost : embeds) : hasHost || embeds;
}

void DesktopTrayHost::set(bool& fact, bool value) {
  const bool before = isPresent();
  fact = value;
  const bool isNow = isPresent();
  if (isNow && !isOnBus) {
    isOnBus = hasHost;
  }
  if (isNow != before) {
    changed(isNow);
  }
}

std::unique_ptr<TrayHost> watchTrayHost(std::function<void(bool isPresent)> changed) {
  return std::make_unique<DesktopTrayHost>(std::move(changed));
}

}  // namespace orvik
