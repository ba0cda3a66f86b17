#pragma once

#include <functional>
#include <string>

#include "phone/terminal/LiveScreen.h"
#include "phone/terminal/MacState.h"
#include "phone/terminal/Output.h"
#include "phone/terminal/PhoneObserver.h"

namespace orvik {

/// Shows everything that is known about the computer on a terminal, refreshed in place.
class LiveViewer final : public PhoneObserver {
 public:
  /// `name` is the computer's, from the link. `size` asks the terminal. The output outlives the
  /// viewer.
  LiveViewer(std::string name, LiveScreen screen, Output& out, std::function<ScreenSize()> size,
             PayloadLimit limit);

  void connectionChanged(const ConnectionState& connection) override;
  [[nodiscard]] bool opened(const Payload& payload) override;
  void unreadable() override;

  /// Paints again what is known: the window has another size, or shows something else.
  void paint();
  /// Leaves the terminal to others, with its cursor. paint() takes it again.
  void leave();

 private:
  MacState state;
  LiveScreen screen;
  Output& out;
  std::function<ScreenSize()> size;
  PayloadLimit limit;
};

}  // namespace orvik
