#include <boost/asio/co_spawn.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/io_context.hpp>
#include <gtest/gtest.h>

#include <algorithm>

#include "core/async/Clock.h"
#include "core/async/Timeout.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;

TEST(SystemClock, SleepsNoShorterAndCanBeCancelledAndBounded) {
  using namespace asio::experimental::awaitable_operators;
  asio::io_context context;
  SystemClock clock;
  const std::vector<Clock::Duration> durations{20ms, 0ms, -3600ms};
  std::vector<Clock::Duration> late;
  std::exception_ptr timedOut;
  const auto sleeps = [&]() -> asio::awaitable<void> {
    for (const Clock::Duration duration : durations) {
      const Instant deadline = clock.now() + duration;
      co_await clock.sleepUntil(deadline);
      late.push_back(clock.now() - deadline);
    }
    co_await (clock.sleepFor(1h) || clock.sleepFor(1ms));
    timedOut = co_await failureOf(withTimeout(clock, 1ms, clock.sleepFor(1h)));
  };
  bool done = false;
  asio::co_spawn(context, sleeps(), [&](const std::exception_ptr& failure) { done = !failure; });
  context.run_for(20s);
  ASSERT_TRUE(done && timedOut);
  EXPECT_GE(std::ranges::min(late), 0ns);
  EXPECT_THROW(std::rethrow_exception(timedOut), boost::system::system_error);
}

}  // namespace
}  // namespace orvik
