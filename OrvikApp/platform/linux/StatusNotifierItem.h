#pragma once

#include <QByteArray>
#include <QDBusAbstractAdaptor>
#include <QDBusObjectPath>
#include <QList>
#include <functional>

#include "OrvikApp/platform/PanelItem.h"

namespace orvik {

/// A picture as panels take it: 32 bits for each pixel, alpha first.
struct PanelPicture {
  int width = 0;
  int height = 0;
  QByteArray pixels;
};
using PanelPictures = QList<PanelPicture>;

struct PanelToolTip {
  QString iconName;
  PanelPictures icon;
  QString title;
  QString text;
};

/// The icon as a StatusNotifierItem of freedesktop.org, in place of the toolkit's own: the toolkit
/// registers it and exports its menu, but knows neither icons by their names that the panel colours
/// itself, nor where they are, nor that each button opens the menu.
class StatusNotifierItem final : public QDBusAbstractAdaptor, public PanelItem {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierItem")
  Q_PROPERTY(QString Category READ category)
  Q_PROPERTY(QString Id READ name)
  Q_PROPERTY(QString Title READ title)
  Q_PROPERTY(QString Status READ status)
  Q_PROPERTY(int WindowId READ windowId)
  Q_PROPERTY(QString IconThemePath READ iconThemePath)
  Q_PROPERTY(QString IconName READ iconName)
  Q_PROPERTY(orvik::PanelPictures IconPixmap READ pictures)
  Q_PROPERTY(QString OverlayIconName READ nothing)
  Q_PROPERTY(orvik::PanelPictures OverlayIconPixmap READ noPictures)
  Q_PROPERTY(QString AttentionIconName READ nothing)
  Q_PROPERTY(orvik::PanelPictures AttentionIconPixmap READ noPictures)
  Q_PROPERTY(QString AttentionMovieName READ nothing)
  Q_PROPERTY(orvik::PanelToolTip ToolTip READ toolTip)
  Q_PROPERTY(bool ItemIsMenu READ itemIsMenu)
  Q_PROPERTY(QDBusObjectPath Menu READ menu)

 public:
  /// Takes the place of what `toolkitItem` exports. `openMenu` is for panels that do not show the
  /// menu themselves.
  StatusNotifierItem(QObject& toolkitItem, QSystemTrayIcon& icon, std::function<void()> openMenu);

  void show(bool isPaused, const QString& toolTip) override;

  [[nodiscard]] QString category() const { return QStringLiteral("ApplicationStatus"); }
  [[nodiscard]] QString name() const { return QStringLiteral("orvik"); }
  [[nodiscard]] QString title() const { return QStringLiteral("Orvik"); }
  [[nodiscard]] QString status() const { return QStringLiteral("Active"); }
  [[nodiscard]] int windowId() const { return 0; }
  [[nodiscard]] QString iconThemePath() const;
  [[nodiscard]] QString iconName() const;
  [[nodiscard]] PanelPictures pictures() const;
  [[nodiscard]] QString nothing() const { return {}; }
  [[nodiscard]] PanelPictures noPictures() const { return {}; }
  [[nodiscard]] PanelToolTip toolTip() const;
  [[nodiscard]] bool itemIsMenu() const { return true; }
  [[nodiscard]] QDBusObjectPath menu() const { return menuPath; }

 public Q_SLOTS:
  // NOLINTBEGIN(readability-identifier-naming): the names are the protocol's.
  void Activate(int x, int y);
  void SecondaryActivate(int x, int y) { Activate(x, y); }
  void ContextMenu(int x, int y) { Activate(x, y); }
  void Scroll(int /*delta*/, const QString& /*orientation*/) {}

 Q_SIGNALS:
  void NewIcon();
  void NewToolTip();
  // NOLINTEND(readability-identifier-naming)

 private:
  QSystemTrayIcon& icon;
  const std::function<void()> openMenu;
  const QDBusObjectPath menuPath;
  bool isPaused = false;
  QString tip;
};

}  // namespace orvik

Q_DECLARE_METATYPE(orvik::PanelPicture)
Q_DECLARE_METATYPE(orvik::PanelToolTip)
