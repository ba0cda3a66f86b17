#pragma once

class QWidget;

namespace orvik {

/// Has a window's title bar look like a part of its content where the window can still be moved and
/// closed without one; leaves it as it is elsewhere. For a window that has not been shown yet.
void hideTitleBar(QWidget& window);

}  // namespace orvik
