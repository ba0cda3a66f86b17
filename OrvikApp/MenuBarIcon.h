#pragma once

#include <QIcon>
#include <QMenu>
#include <QObject>
#include <QSystemTrayIcon>

namespace orvik {

class AppModel;

/// The application's everyday face: one icon in the menu bar, faint while the link is paused.
/// Main thread only.
class MenuBarIcon : public QObject {
  Q_OBJECT
 public:
  /// Shows the icon, with `menu` under it. Both arguments outlive it.
  MenuBarIcon(AppModel& model, QMenu& menu);

  [[nodiscard]] static QIcon icon(bool paused);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void redraw();

  AppModel& model;
  QSystemTrayIcon item;
};

}  // namespace orvik
