#include "OrvikApp/platform/Windows.h"

#include <QWidget>

namespace orvik {

void bringToFront(QWidget* window) {
  if (window == nullptr) {
    return;
  }
  if (window->isMinimized()) {
    window->showNormal();
  }
  window->raise();
  window->activateWindow();
}

// Here the title bar is what a window is moved and closed by.
void hideTitleBar(QWidget& /*window*/) {}

}  // namespace orvik
