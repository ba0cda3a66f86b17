#include "phone/terminal/MacState.h"

namespace orvik {

void MacState::take(const UntypedValue& opened) {
  sample = opened;
  if (const UntypedValue* info = opened.find("mac_info")) {
    macInfo = *info;
  }
  if (const UntypedValue* history = opened.find("history")) {
    curves.addHistory(*history);
  }
  curves.addSample(opened);
}

}  // namespace orvik
