#pragma once

#include <boost/asio/io_context.hpp>

#include <map>
#include <memory>

#include "core/async/Clock.h"
#include "core/async/Notifier.h"

namespace orvik::test {

/// Time that stands still until a test moves it. Belongs to one io_context, which `advance` runs:
/// everything that is ready runs before time moves, and after each sleeper that wakes, so a day
/// passes in milliseconds and always in the same order.
class ManualClock final : public Clock {
 public:
  explicit ManualClock(asio::io_context& context) : context(context) {}

  [[nodiscard]] Instant now() const override { return Instant(elapsed); }
  [[nodiscard]] UnixTime unixNow() const override { return unixStart + elapsed; }
  asio::awaitable<void> sleepUntil(Instant deadline) override;

  /// Runs what is ready without moving time.
  void settle();
  /// Moves time by `duration`, waking sleepers at their own times on the way.
  void advance(Duration duration);

  /// Wall-clock time at the start; a test may let it jump.
  UnixTime unixStart{std::chrono::seconds(1'800'000'000)};

 private:
  asio::io_context& context;
  Duration elapsed = std::chrono::hours(1);
  std::multimap<Instant, std::shared_ptr<Notifier>> sleepers;
};

}  // namespace orvik::test
