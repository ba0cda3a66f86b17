#include "phone/terminal/LiveViewer.h"

#include "phone/terminal/SampleView.h"

namespace orvik {

LiveViewer::LiveViewer(std::string name, LiveScreen liveScreen, Output& output,
                       std::function<ScreenSize()> terminalSize, PayloadLimit payloadLimit)
    : screen(liveScreen), out(output), size(std::move(terminalSize)), limit(payloadLimit) {
  state.name = std::move(name);
}

void LiveViewer::connectionChanged(const ConnectionState& connection) {
  state.connection = connection;
  paint();
}

bool LiveViewer::opened(const Payload& payload) {
  switch (payload.kind) {
    case Envelope::Kind::sample:
      state.take(payload.content);
      paint();
      break;
    case Envelope::Kind::alert:
      if (!state.alerts.take(payload)) {
        return true;
      }
      paint();
      break;
    case Envelope::Kind::control:
      return true;
  }
  return limit.take() && out.isOpen();
}

void LiveViewer::unreadable() {
  ++state.unreadable;
  paint();
}

void LiveViewer::paint() {
  const ScreenSize now = size();
  auto lines = sampleView(state, now.columns - 1);
  if (static_cast<int>(lines.size()) < now.rows) {
    // No relay tells an absent computer from one that has another pairing now.
    const bool isAway = state.connection.phase == ConnectionState::Phase::macOffline;
    const std::string hint =
        isAway ? "If the computer has disconnected all phones, scan its new code. " : "";
    lines.push_back({.heading = "", .body = hint + "q ends", .isOld = true});
  }
  out.write(screen.paint(lines, now));
}

void LiveViewer::leave() { out.write(screen.end()); }

}  // namespace orvik
