#include "OrvikApp/MenuBarIcon.h"

#include <QCursor>
#include <QEvent>
#include <QGuiApplication>

#include "OrvikApp/AppModel.h"
#include "OrvikApp/StatusMenu.h"
#include "OrvikApp/platform/Icons.h"

namespace orvik {

namespace {

constexpr double pausedOpacity = 0.35;

}  // namespace

MenuBarIcon::MenuBarIcon(AppModel& model, StatusMenu& menu) : model(model), menu(menu) {
  item.setContextMenu(&menu.menu());
  redraw();
  connect(&model, &AppModel::pausedUntilChanged, this, &MenuBarIcon::redraw);
  connect(&menu, &StatusMenu::statusChanged, this, &MenuBarIcon::tellState);
  qGuiApp->installEventFilter(this);
  // Where a click does not open the menu by itself.
  connect(&item, &QSystemTrayIcon::activated, this, [this](auto reason) {
    const bool isClick =
        reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::MiddleClick;
    if (isClick && QGuiApplication::platformName() != QLatin1String("cocoa")) {
      openMenu();
    }
  });
  item.show();
  panelItem = openPanelItem(item, [this] { openMenu(); });
  tellState();
}

QIcon MenuBarIcon::icon(bool paused) { return MenuBarSymbol::icon(paused ? pausedOpacity : 1.0); }

bool MenuBarIcon::eventFilter(QObject* watched, QEvent* event) {
  if (watched == qGuiApp && event->type() == QEvent::ApplicationPaletteChange) {
    redraw();
  }
  return QObject::eventFilter(watched, event);
}

void MenuBarIcon::openMenu() {
  // On Wayland nobody knows where the pointer is, and a menu needs a window to stand beside.
  if (QGuiApplication::platformName().startsWith(QLatin1String("wayland"))) {
    Q_EMIT menuWantedElsewhere();
  } else {
    menu.menu().popup(QCursor::pos());
  }
}

void MenuBarIcon::redraw() {
  item.setIcon(icon(model.isPaused()));
  tellState();
}

void MenuBarIcon::tellState() {
  QStringList lines{QStringLiteral("Orvik"), menu.statusText()};
  if (const QString reason = menu.reasonText(); !reason.isEmpty()) {
    lines += reason;
  }
  const QString toolTip = lines.join(QLatin1Char('\n'));
  item.setToolTip(toolTip);
  if (panelItem) {
    panelItem->show(model.isPaused(), toolTip);
  }
}

}  // namespace orvik
