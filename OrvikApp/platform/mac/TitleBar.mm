#include "OrvikApp/platform/TitleBar.h"

#import <AppKit/AppKit.h>

#include <QWidget>

namespace orvik {

void hideTitleBar(QWidget& window) {
  NSView* const view = (__bridge NSView*)reinterpret_cast<void*>(window.winId());
  view.window.titleVisibility = NSWindowTitleHidden;
  view.window.titlebarAppearsTransparent = YES;
}

}  // namespace orvik
