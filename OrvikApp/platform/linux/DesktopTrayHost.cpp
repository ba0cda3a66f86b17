#include "OrvikApp/platform/linux/DesktopTrayHost.h"

#include <xcb/xcb.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QGuiApplication>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

namespace orvik {

namespace {

const QString watcherName = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString watcherPath = QStringLiteral("/StatusNotifierWatcher");

struct Free {
  void operator()(void* reply) const { std::free(reply); }
};
template <typename Reply>
using Owned = std::unique_ptr<Reply, Free>;

/// Whether a panel of the older kind, which embeds windows, owns the tray of this X display.
bool hasEmbeddingTray() {
  const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  if (x11 == nullptr) {
    return false;
  }
  xcb_connection_t* connection = x11->connection();
  // The first screen's: the only one that displays have nowadays.
  const std::string name = "_NET_SYSTEM_TRAY_S0";
  const Owned<xcb_intern_atom_reply_t> atom(xcb_intern_atom_reply(
      connection,
      xcb_intern_atom(connection, 1, static_cast<std::uint16_t>(name.size()), name.data()),
      nullptr));
  if (!atom || atom->atom == XCB_ATOM_NONE) {
    return false;
  }
  const Owned<xcb_get_selection_owner_reply_t> owner(xcb_get_selection_owner_reply(
      connection, xcb_get_selection_owner(connection, atom->atom), nullptr));
  return owner && owner->owner != XCB_WINDOW_NONE;
}

}  // namespace

DesktopTrayHost::DesktopTrayHost(std::function<void(bool isPresent)> changed)
    : changed(std::move(changed)),
      owners(watcherName, QDBusConnection::sessionBus()),
      isEmbedding(hasEmbeddingTray()) {
  connect(&owners, &QDBusServiceWatcher::serviceRegistered, this, &DesktopTrayHost::ask);
  connect(&owners, &QDBusServiceWatcher::serviceUnregistered, this, [this] { set(false); });
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
    set(reply.isValid() && reply.value().variant().toBool());
    call->deleteLater();
  });
}

void DesktopTrayHost::set(bool isThere) {
  const bool before = isPresent();
  hasHost = isThere;
  if (isPresent() != before) {
    changed(isPresent());
  }
}

}  // namespace orvik
