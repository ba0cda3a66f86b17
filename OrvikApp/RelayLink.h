#pragma once

#include <functional>
#include <memory>

#include "core/client/RelayState.h"
#include "core/pairing/Pairing.h"

namespace orvik {

/// One running client of the relay, as the application sees it. Everything on the main thread.
class RelayLink {
 public:
  virtual ~RelayLink() = default;

  /// Begins to connect.
  virtual void start() = 0;

  /// Says goodbye to the relay. Calls `stopped` once, on the main thread, when that is done or its
  /// time is over. What is under way keeps itself alive.
  virtual void stop(std::function<void()> stopped) = 0;
};

/// Makes a link that has not been started, with collaborators of its own. `onState` is called on
/// the main thread with every change of state, from `start` on.
using RelayLinkFactory = std::function<std::shared_ptr<RelayLink>(
    const Pairing& pairing, std::function<void(const RelayState&)> onState)>;

}  // namespace orvik
