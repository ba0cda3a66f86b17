#pragma once

class QWidget;

namespace orvik {

/// Brings the application to the front, whatever other application is there, and `window` (perhaps
/// null) with it. A system may choose to ask for the user's attention instead. Main thread only.
void bringToFront(QWidget* window);

/// Has a window's title bar look like a part of its content where the window can still be moved and
/// closed without one; leaves it as it is elsewhere. For a window that has not been shown yet.
void hideTitleBar(QWidget& window);

}  // namespace orvik
