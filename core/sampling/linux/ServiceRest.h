#pragma once

#include <chrono>
#include <optional>

#include "core/async/Clock.h"

namespace orvik {

/// Leaves a service alone for a while that did not answer in time: waiting for it again at each
/// reading would delay all others, and it will hardly get better by being asked.
class ServiceRest {
 public:
  static constexpr std::chrono::minutes length{1};

  [[nodiscard]] bool isOver(Instant now) const { return !begunAt || now - *begunAt >= length; }
  void begin(Instant now) { begunAt = now; }

 private:
  std::optional<Instant> begunAt;
};

}  // namespace orvik
