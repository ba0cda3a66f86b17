#pragma once

#include <functional>

#include "core/async/Clock.h"

namespace orvik {

/// Where readers of the kernel's counters take the time from, right beside each counter. The
/// counters stand still while the machine sleeps, so this time has to do so too: it may not be
/// mixed with that of a Clock.
using MonotonicTime = std::function<Instant()>;

/// The system's time since it was started, without that of its sleep.
[[nodiscard]] Instant monotonicNow();

/// How long after a reading of counters another one is worth being taken: half a second is fifty
/// ticks of each CPU, a step of 2 %. After a reading that had none to compare with, a little less
/// is better than nothing.
[[nodiscard]] constexpr Clock::Duration shortestInterval(bool hasCompared) {
  return std::chrono::milliseconds(hasCompared ? 500 : 400);
}

}  // namespace orvik
