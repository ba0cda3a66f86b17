#pragma once

class QWidget;

namespace orvik {

/// Lets a window's content reach under its title bar where the window can still be moved and
/// closed without one; leaves it as it is elsewhere. For a window that has not been shown yet.
void hideTitleBar(QWidget& window);

}  // namespace orvik
