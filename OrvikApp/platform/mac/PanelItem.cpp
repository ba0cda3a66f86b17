#include "OrvikApp/platform/PanelItem.h"

namespace orvik {

std::unique_ptr<PanelItem> openPanelItem(QSystemTrayIcon& /*icon*/,
                                         std::function<void()> /*openMenu*/) {
  return nullptr;
}

}  // namespace orvik
