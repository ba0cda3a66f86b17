#pragma once

#include <functional>
#include <memory>

namespace orvik {

/// Tells when the machine goes to sleep and wakes. Main thread only.
class PowerEvents {
 public:
  /// Holds the sleep back for as long as somebody keeps it and the system allows. Null where
  /// sleep cannot be held back.
  using SleepHold = std::shared_ptr<void>;
  /// One observer's registration. Letting go of it does not end the observation.
  using Observer = std::shared_ptr<void>;

  virtual ~PowerEvents() = default;

  [[nodiscard]] virtual Observer onWillSleep(std::function<void(const SleepHold&)> action) = 0;
  [[nodiscard]] virtual Observer onDidWake(std::function<void()> action) = 0;
};

/// The power events of this system. Never null: where there are none, one that never tells.
[[nodiscard]] std::unique_ptr<PowerEvents> openPowerEvents();

}  // namespace orvik
