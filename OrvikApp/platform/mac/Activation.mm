#include "OrvikApp/platform/Activation.h"

#import <AppKit/AppKit.h>

#include <QWidget>

namespace orvik {

void bringToFront(QWidget* window) {
  [NSApplication.sharedApplication activateIgnoringOtherApps:YES];
  if (window != nullptr) {
    window->raise();
    window->activateWindow();
  }
}

}  // namespace orvik
