#pragma once

#include <memory>

#include "core/async/Clock.h"
#include "core/sampling/SampleSource.h"
#include "core/sampling/ThisMachine.h"

namespace orvik {

/// The least that any machine can say of itself: time, load and uptime. Needs no external tools
/// and keeps no state.
class BasicSampleSource final : public SampleSource {
 public:
  explicit BasicSampleSource(std::shared_ptr<Clock> clock);

  using SampleSource::sample;
  asio::awaitable<std::string> sample() override;

  /// The object that `sample` writes: "epoch" and "epoch_ms" (truncated), "load" (2 decimals),
  /// "ts" (local "HH:mm:ss") and "uptime_h" (hours, 1 decimal).
  [[nodiscard]] static std::string text(Clock::UnixTime now, const MachineLoad& load);

 private:
  std::shared_ptr<Clock> clock;
};

}  // namespace orvik
