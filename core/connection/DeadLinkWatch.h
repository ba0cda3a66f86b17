#pragma once

#include <chrono>

#include "core/async/Clock.h"

namespace orvik {

/// Tells a dead connection from a quiet one: the relay is pinged every so often, and a connection
/// on which nothing at all has arrived since is dead.
class DeadLinkWatch {
 public:
  /// From a ping to the question whether anything has arrived.
  static constexpr std::chrono::seconds answerLimit{20};

  /// A ping goes out.
  void pinged(Instant now) { pingTime = now; }
  /// Asked when the answer limit has passed.
  [[nodiscard]] bool isDead(Instant lastInbound) const { return lastInbound < pingTime; }

 private:
  Instant pingTime;
};

}  // namespace orvik
