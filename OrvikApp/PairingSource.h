#pragma once

#include <functional>

#include "core/pairing/PairingKeeper.h"

namespace orvik {

/// Where the application has its pairing from. Everything on the main thread, and nothing waits.
class PairingSource {
 public:
  virtual ~PairingSource() = default;

  /// Begins to look for the pairing; `onNews` is told of every change from then on.
  virtual void start(std::function<void(const PairingNews&)> onNews) = 0;
  /// Has a new pairing take the place of whatever there is.
  virtual void replace() = 0;
  /// Asks the user to unlock the keyring.
  virtual void unlock() = 0;
};

/// The keeper of this user's pairing, on the core's thread. `executor` is that thread's and must
/// outlive the source. `retire` is called on the main thread.
[[nodiscard]] std::shared_ptr<PairingSource> openPairingSource(
    const asio::any_io_executor& executor, const std::shared_ptr<Clock>& clock,
    PairingKeeper::Retire retire);

}  // namespace orvik
