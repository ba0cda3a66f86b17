#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <mach/mach_time.h>

#include <algorithm>

#include "core/async/Clock.h"

namespace orvik {

namespace {

/// How late a wait may end after the machine has slept through it. Shorter would wake an idle
/// machine more often.
constexpr std::chrono::seconds recheckInterval{10};

mach_timebase_info_data_t readTimebase() {
  mach_timebase_info_data_t timebase{};
  const bool isKnown = mach_timebase_info(&timebase) == KERN_SUCCESS && timebase.denom != 0;
  return isKnown ? timebase : mach_timebase_info_data_t{1, 1};
}

}  // namespace

Instant SystemClock::now() const {
  static const mach_timebase_info_data_t timebase = readTimebase();
  const std::uint64_t ticks = mach_continuous_time();
  // In two parts: the product of all ticks and the numerator does not fit after some years.
  const std::uint64_t nanoseconds = ticks / timebase.denom * timebase.numer +
                                    ticks % timebase.denom * timebase.numer / timebase.denom;
  return Instant(std::chrono::nanoseconds(static_cast<std::int64_t>(nanoseconds)));
}

Clock::UnixTime SystemClock::unixNow() const {
  return std::chrono::time_point_cast<UnixTime::duration>(std::chrono::system_clock::now());
}

asio::awaitable<void> SystemClock::sleepUntil(Instant deadline) {
  // A timer may stand still while the machine sleeps. So it is set to a part of the way only, and
  // the clock that went on says how much is left. (A descriptor whose timer counts sleep would do
  // better, but what the system has there cannot be made non-blocking, which Asio insists on.)
  const asio::any_io_executor executor = co_await asio::this_coro::executor;
  asio::steady_timer timer(executor);
  do {
    timer.expires_after(std::min<Duration>(deadline - now(), recheckInterval));
    co_await timer.async_wait(asio::use_awaitable);
  } while (now() < deadline);
}

}  // namespace orvik
