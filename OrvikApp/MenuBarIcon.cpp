#include "OrvikApp/MenuBarIcon.h"

#include <QCursor>
#include <QEvent>
#include <QGuiApplication>
#include <variant>

#include "OrvikApp/AppModel.h"
#include "OrvikApp/StatusMenu.h"
#include "OrvikApp/platform/Icons.h"

namespace orvik {

namespace {

constexpr double pausedOpacity = 0.35;

/// Why the link is down, where that is known.
QString reasonOf(const AppModel& model) {
  const auto* waiting = std::get_if<relayState::Waiting>(&model.state());
  return waiting == nullptr || model.isPaused() ? QString()
                                                : QString::fromStdString(waiting->reason);
}

}  // namespace

MenuBarIcon::MenuBarIcon(AppModel& model, StatusMenu& menu) : model(model), menu(menu) {
  item.setContextMenu(&menu.menu());
  redraw();
  connect(&model, &AppModel::pausedUntilChanged, this, &MenuBarIcon::redraw);
  connect(&menu, &StatusMenu::statusChanged, this, &MenuBarIcon::tellState);
  qGuiApp->installEventFilter(this);
  // Where a click does not open the menu by itself.
  connect(&item, &QSystemTrayIcon::activated, &menu, [&menu](auto reason) {
    const bool isClick =
        reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::MiddleClick;
    if (isClick && QGuiApplication::platformName() != QLatin1String("cocoa")) {
      menu.menu().popup(QCursor::pos());
    }
  });
  item.show();
  panelItem = openPanelItem(item, menu.menu());
  tellState();
}

QIcon MenuBarIcon::icon(bool paused) { return MenuBarSymbol::icon(paused ? pausedOpacity : 1.0); }

bool MenuBarIcon::eventFilter(QObject* watched, QEvent* event) {
  if (watched == qGuiApp && event->type() == QEvent::ApplicationPaletteChange) {
    redraw();
  }
  return QObject::eventFilter(watched, event);
}

void MenuBarIcon::redraw() {
  item.setIcon(icon(model.isPaused()));
  tellState();
}

void MenuBarIcon::tellState() {
  const QString status = menu.statusText();
  const QString reason = reasonOf(model);
  item.setToolTip(QStringLiteral("Orvik\n") + status +
                  (reason.isEmpty() ? reason : QLatin1Char('\n') + reason));
  if (panelItem) {
    panelItem->show(model.isPaused(), status, reason);
  }
}

}  // namespace orvik
