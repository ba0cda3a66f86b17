#pragma once

#include <QString>
#include <QSystemTrayIcon>
#include <functional>
#include <memory>

namespace orvik {

/// What a panel is told of the menu-bar icon beyond what the toolkit tells it. Main thread only.
class PanelItem {
 public:
  virtual ~PanelItem() = default;

  /// Has the panel show the icon of a link that is paused, or not, and this text when it is pointed
  /// at.
  virtual void show(bool isPaused, const QString& toolTip) = 0;
};

/// For an icon that has just been shown with its menu, and outlives what is returned. `openMenu` is
/// called when it has been clicked on a panel that shows no menus. Null where the toolkit says all
/// that there is to say.
[[nodiscard]] std::unique_ptr<PanelItem> openPanelItem(QSystemTrayIcon& icon,
                                                       std::function<void()> openMenu);

}  // namespace orvik
