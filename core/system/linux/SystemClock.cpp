#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>

#include "core/async/Clock.h"

namespace orvik {

namespace {

timespec timespecOf(Instant instant) {
  constexpr std::int64_t perSecond = 1'000'000'000;
  // A zero time would disarm the timer instead of firing it at once.
  const std::int64_t count = std::max<std::int64_t>(instant.time_since_epoch().count(), 1);
  return {static_cast<std::time_t>(count / perSecond), static_cast<long>(count % perSecond)};
}

/// Makes the descriptor one that can be read from `deadline` on; false when there is none to be
/// had.
bool armTimer(asio::posix::stream_descriptor& descriptor, Instant deadline) {
  const int timer = timerfd_create(CLOCK_BOOTTIME, TFD_NONBLOCK | TFD_CLOEXEC);
  if (timer < 0) {
    return false;
  }
  boost::system::error_code error;
  descriptor.assign(timer, error);
  if (error) {
    close(timer);
    return false;
  }
  const itimerspec setting{{}, timespecOf(deadline)};
  return timerfd_settime(timer, TFD_TIMER_ABSTIME, &setting, nullptr) == 0;
}

}  // namespace

Instant SystemClock::now() const {
  timespec time{};
  clock_gettime(CLOCK_BOOTTIME, &time);
  return Instant(std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec));
}

Clock::UnixTime SystemClock::unixNow() const {
  return std::chrono::time_point_cast<UnixTime::duration>(std::chrono::system_clock::now());
}

asio::awaitable<void> SystemClock::sleepUntil(Instant deadline) {
  // Asio's own timers stand still while the machine sleeps; this one goes on.
  const asio::any_io_executor executor = co_await asio::this_coro::executor;
  asio::posix::stream_descriptor descriptor(executor);
  if (armTimer(descriptor, deadline)) {
    co_await descriptor.async_wait(asio::posix::descriptor_base::wait_read, asio::use_awaitable);
  } else {
    // No descriptor is left. A wait that is late after a sleep is better than none: limits and
    // attempts to connect again depend on it.
    asio::steady_timer timer(executor, deadline - now());
    co_await timer.async_wait(asio::use_awaitable);
  }
}

}  // namespace orvik
