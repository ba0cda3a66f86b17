#pragma once

#include <boost/asio/awaitable.hpp>

#include <chrono>

namespace orvik {

namespace asio = boost::asio;

/// The time base of every interval: it never jumps and goes on counting while the machine sleeps.
struct ContinuousTime {
  using duration = std::chrono::nanoseconds;
  using rep = duration::rep;
  using period = duration::period;
  using time_point = std::chrono::time_point<ContinuousTime>;
  static constexpr bool is_steady = true;
};

/// A moment on the continuous time base. Means nothing outside of this process.
using Instant = ContinuousTime::time_point;

/// Where time comes from. Rules take it as an argument; loops wait on it; tests move it by hand.
/// All operations may be called from any thread.
class Clock {
 public:
  using Duration = Instant::duration;
  using UnixTime = std::chrono::sys_time<std::chrono::nanoseconds>;

  virtual ~Clock() = default;

  [[nodiscard]] virtual Instant now() const = 0;
  /// Wall-clock time, which may jump.
  [[nodiscard]] virtual UnixTime unixNow() const = 0;

  /// Resumes at `deadline`; at once when it has passed; right after waking when the machine slept
  /// through it. Cancellable: throws boost::system::system_error with operation_aborted.
  virtual asio::awaitable<void> sleepUntil(Instant deadline) = 0;

  asio::awaitable<void> sleepFor(Duration duration) { return sleepUntil(now() + duration); }
};

/// Whole seconds and milliseconds since 1970, truncated.
[[nodiscard]] inline std::int64_t epochSeconds(Clock::UnixTime time) {
  return std::chrono::duration_cast<std::chrono::seconds>(time.time_since_epoch()).count();
}
[[nodiscard]] inline std::int64_t epochMilliseconds(Clock::UnixTime time) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

/// The operating system's clock.
class SystemClock final : public Clock {
 public:
  [[nodiscard]] Instant now() const override;
  [[nodiscard]] UnixTime unixNow() const override;
  asio::awaitable<void> sleepUntil(Instant deadline) override;
};

}  // namespace orvik
