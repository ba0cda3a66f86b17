#include "phone/terminal/LiveViewer.h"

#include "phone/terminal/SampleView.h"

namespace orvik {

LiveViewer::LiveViewer(std::string name, LiveScreen liveScreen, Output& output,
                       std::function<ScreenSize()> terminalSize, PayloadLimit payloadLimit)
    : screen(std::move(liveScreen)),
      out(output),
      size(std::move(terminalSize)),
      limit(payloadLimit) {
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
  out.write(screen.paint(sampleView(state, now.columns - 1), now));
}

void LiveViewer::leave() { out.write(screen.end()); }

}  // namespace orvik
