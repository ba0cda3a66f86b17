#include "OrvikApp/platform/linux/StatusNotifierItem.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMetaType>
#include <QDir>
#include <QImage>
#include <QPixmap>
#include <QtEndian>
#include <utility>

namespace orvik {

namespace {

const QString itemPath = QStringLiteral("/StatusNotifierItem");

/// What the toolkit exports for its newest icon, which has a connection of its own with this name;
/// null when the icon is in a tray that embeds windows.
QObject* toolkitItem() {
  QObject* found = nullptr;
  for (int number = 1;; ++number) {
    const QString name = QStringLiteral("org.kde.StatusNotifierItem-%1-%2")
                             .arg(QCoreApplication::applicationPid())
                             .arg(number);
    const QDBusConnection connection(name);
    if (!connection.isConnected()) {
      return found;
    }
    found = connection.objectRegisteredAt(itemPath);
  }
}

}  // namespace

// NOLINTBEGIN(misc-use-internal-linkage): the toolkit finds them by their arguments.
QDBusArgument& operator<<(QDBusArgument& out, const PanelPicture& picture) {
  out.beginStructure();
  out << picture.width << picture.height << picture.pixels;
  out.endStructure();
  return out;
}
const QDBusArgument& operator>>(const QDBusArgument& in, PanelPicture& picture) {
  in.beginStructure();
  in >> picture.width >> picture.height >> picture.pixels;
  in.endStructure();
  return in;
}
QDBusArgument& operator<<(QDBusArgument& out, const PanelToolTip& tip) {
  out.beginStructure();
  out << tip.iconName << tip.icon << tip.title << tip.text;
  out.endStructure();
  return out;
}
const QDBusArgument& operator>>(const QDBusArgument& in, PanelToolTip& tip) {
  in.beginStructure();
  in >> tip.iconName >> tip.icon >> tip.title >> tip.text;
  in.endStructure();
  return in;
}
// NOLINTEND(misc-use-internal-linkage)

StatusNotifierItem::StatusNotifierItem(QObject& toolkitItem, QSystemTrayIcon& icon,
                                       std::function<void()> openMenu)
    : QDBusAbstractAdaptor(&toolkitItem),
      icon(icon),
      openMenu(std::move(openMenu)),
      menuPath(QStringLiteral("/MenuBar")) {
  qDBusRegisterMetaType<PanelPicture>();
  qDBusRegisterMetaType<PanelPictures>();
  qDBusRegisterMetaType<PanelToolTip>();
}

void StatusNotifierItem::show(bool nowPaused, const QString& nowTip) {
  isPaused = nowPaused;
  tip = nowTip;
  Q_EMIT NewIcon();
  Q_EMIT NewToolTip();
}

QString StatusNotifierItem::iconThemePath() const {
  // Beside the program's folder, when installed as when built.
  const QDir icons(QCoreApplication::applicationDirPath() + QStringLiteral("/../share/icons"));
  return icons.exists() ? icons.canonicalPath() : QString();
}

QString StatusNotifierItem::iconName() const {
  return isPaused ? QStringLiteral("orvik-paused-symbolic") : QStringLiteral("orvik-symbolic");
}

PanelPictures StatusNotifierItem::pictures() const {
  PanelPictures pictures;
  const QIcon shown = icon.icon();
  for (const QSize& size : shown.availableSizes()) {
    const QImage image = shown.pixmap(size).toImage().convertToFormat(QImage::Format_ARGB32);
    PanelPicture picture{image.width(), image.height(),
                         QByteArray(image.sizeInBytes(), Qt::Uninitialized)};
    qToBigEndian<quint32>(image.constBits(), image.sizeInBytes() / 4, picture.pixels.data());
    pictures.append(picture);
  }
  return pictures;
}

PanelToolTip StatusNotifierItem::toolTip() const {
  // All in the title: some panels show nothing else.
  return {.iconName = {}, .icon = {}, .title = tip, .text = {}};
}

void StatusNotifierItem::Activate(int /*x*/, int /*y*/) { openMenu(); }

std::unique_ptr<PanelItem> openPanelItem(QSystemTrayIcon& icon, std::function<void()> openMenu) {
  QObject* const item = toolkitItem();
  if (item == nullptr) {
    return nullptr;
  }
  return std::make_unique<StatusNotifierItem>(*item, icon, std::move(openMenu));
}

}  // namespace orvik
