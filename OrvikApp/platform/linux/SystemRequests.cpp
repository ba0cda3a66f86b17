#include "OrvikApp/platform/SystemRequests.h"

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

void prepareForSystem() {}

// A desktop tells of the end of a session, and waits.
void answerQuitQuestion(const QuitAnswer& /*answer*/) {}

}  // namespace orvik
