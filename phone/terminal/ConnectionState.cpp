#include "phone/terminal/ConnectionState.h"

namespace orvik {

std::string description(const ConnectionState& state) {
  switch (state.phase) {
    case ConnectionState::Phase::connecting:
      return "connecting…";
    case ConnectionState::Phase::held:
      return "waiting for the computer…";
    case ConnectionState::Phase::live:
      return "live";
    case ConnectionState::Phase::macOffline:
      return "computer offline";
    case ConnectionState::Phase::waiting:
      break;
  }
  std::string text = "offline, next attempt after " + std::to_string(state.retryIn.count()) + " s";
  if (!state.reason.empty()) {
    text += " (" + state.reason + ")";
  }
  return text;
}

}  // namespace orvik
