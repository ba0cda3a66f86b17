#include "OrvikApp/MenuBarIcon.h"

#include <QCursor>
#include <QEvent>
#include <QGuiApplication>

#include "OrvikApp/AppModel.h"
#include "OrvikApp/platform/Icons.h"

namespace orvik {

namespace {
constexpr double pausedOpacity = 0.35;
}

MenuBarIcon::MenuBarIcon(AppModel& model, QMenu& menu) : model(model) {
  item.setContextMenu(&menu);
  item.setToolTip(QStringLiteral("Orvik"));
  redraw();
  connect(&model, &AppModel::pausedUntilChanged, this, &MenuBarIcon::redraw);
  qGuiApp->installEventFilter(this);
  // Where a click does not open the menu by itself.
  connect(&item, &QSystemTrayIcon::activated, &menu, [&menu](auto reason) {
    if (reason == QSystemTrayIcon::Trigger &&
        QGuiApplication::platformName() != QLatin1String("cocoa")) {
      menu.popup(QCursor::pos());
    }
  });
  item.show();
}

QIcon MenuBarIcon::icon(bool paused) { return MenuBarSymbol::icon(paused ? pausedOpacity : 1.0); }

bool MenuBarIcon::eventFilter(QObject* watched, QEvent* event) {
  if (watched == qGuiApp && event->type() == QEvent::ApplicationPaletteChange) {
    redraw();
  }
  return QObject::eventFilter(watched, event);
}

void MenuBarIcon::redraw() { item.setIcon(icon(model.isPaused())); }

}  // namespace orvik
