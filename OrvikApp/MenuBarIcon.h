#pragma once

#include <QIcon>
#include <QObject>
#include <QSystemTrayIcon>
#include <memory>

#include "OrvikApp/platform/PanelItem.h"

namespace orvik {

class AppModel;
class StatusMenu;

/// The application's everyday face: one icon in the menu bar, faint while the link is paused.
/// Whoever points at it reads the state, and why the link is down; each button opens the menu. Main
/// thread only.
class MenuBarIcon : public QObject {
  Q_OBJECT
 public:
  /// Shows the icon, with the menu under it. Both arguments outlive it.
  MenuBarIcon(AppModel& model, StatusMenu& menu);

  [[nodiscard]] static QIcon icon(bool paused);

 Q_SIGNALS:
  /// The icon has been clicked where no menu can be placed beside it.
  void menuWantedElsewhere();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void redraw();
  void tellState();
  void openMenu();

  AppModel& model;
  StatusMenu& menu;
  QSystemTrayIcon item;
  std::unique_ptr<PanelItem> panelItem;
};

}  // namespace orvik
