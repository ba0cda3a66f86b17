#include "OrvikApp/platform/Display.h"

#include <QtGlobal>

namespace orvik {

std::optional<std::string> missingDisplay() {
  for (const char* name : {"WAYLAND_DISPLAY", "DISPLAY", "QT_QPA_PLATFORM"}) {
    if (!qEnvironmentVariableIsEmpty(name)) {
      return std::nullopt;
    }
  }
  return "there is no display; orvik-agent runs without one";
}

}  // namespace orvik
