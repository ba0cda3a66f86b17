#pragma once

#include <functional>
#include <memory>

#include "core/async/Clock.h"

namespace orvik {

/// Time as the application model needs it. Main thread only.
class ModelClock {
 public:
  /// Something that happens later. Letting go of it changes nothing; only `cancel` does.
  class Task {
   public:
    virtual ~Task() = default;
    virtual void cancel() = 0;
  };

  virtual ~ModelClock() = default;

  /// Wall-clock time.
  [[nodiscard]] virtual Clock::UnixTime now() const = 0;

  /// Calls `action` on the main thread when `duration` has passed on the continuous clock, which
  /// goes on while the machine sleeps.
  [[nodiscard]] virtual std::shared_ptr<Task> after(Clock::Duration duration,
                                                    std::function<void()> action) = 0;
};

}  // namespace orvik
