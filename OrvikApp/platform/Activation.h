#pragma once

class QWidget;

namespace orvik {

/// Brings the application to the front, whatever other application is there, and `window` (perhaps
/// null) with it. A system may choose to ask for the user's attention instead. Main thread only.
void bringToFront(QWidget* window);

}  // namespace orvik
