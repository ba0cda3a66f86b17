#include "OrvikApp/platform/Windows.h"

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

void hideTitleBar(QWidget& window) {
  NSView* const view = (__bridge NSView*)reinterpret_cast<void*>(window.winId());
  view.window.titleVisibility = NSWindowTitleHidden;
  view.window.titlebarAppearsTransparent = YES;
}

}  // namespace orvik
