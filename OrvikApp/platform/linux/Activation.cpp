#include "OrvikApp/platform/Activation.h"

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

}  // namespace orvik
