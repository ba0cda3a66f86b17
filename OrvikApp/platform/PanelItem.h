#pragma once

#include <QMenu>
#include <QString>
#include <QSystemTrayIcon>
#include <memory>

namespace orvik {

/// What a panel is told of the menu-bar icon beyond what the toolkit tells it. Main thread only.
class PanelItem {
 public:
  virtual ~PanelItem() = default;

  /// Has the panel show the icon of a link that is paused, or not, and the state in two lines when
  /// it is pointed at; `reason` may be empty.
  virtual void show(bool isPaused, const QString& status, const QString& reason) = 0;
};

/// For an icon that has just been shown with its menu; both outlive what is returned. Null where the
/// toolkit says all that there is to say.
[[nodiscard]] std::unique_ptr<PanelItem> openPanelItem(QSystemTrayIcon& icon, QMenu& menu);

}  // namespace orvik
