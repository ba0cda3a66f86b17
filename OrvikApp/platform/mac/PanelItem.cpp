#include "OrvikApp/platform/PanelItem.h"

namespace orvik {

std::unique_ptr<PanelItem> openPanelItem(QSystemTrayIcon& /*icon*/, QMenu& /*menu*/) {
  return nullptr;
}

}  // namespace orvik
