#include <boost/asio/co_spawn.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/io_context.hpp>
#include <gtest/gtest.h>

#include "core/async/Clock.h"
#include "core/async/Timeout.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;

TEST(SystemClock, SleepsUntilTheDeadlineAndNoShorter) {
  asio::io_context context;
  SystemClock clock;
  std::vector<Clock::Duration> late;
  const auto sleep = [&](Clock::Duration duration) -> asio::awaitable<void> {
    const Instant deadline = clock.now() + duration;
    co_await clock.sleepUntil(deadline);
    late.push_back(clock.now() - deadline);
  };
  for (const auto duration : {20ms, 0ms, -3600ms}) {
    asio::co_spawn(context, sleep(duration),
                   [](const std::exception_ptr& failure) { EXPECT_FALSE(failure); });
  }
  context.run();
  ASSERT_EQ(late.size(), 3U);
  for (const auto& overshoot : late) {
    EXPECT_GE(overshoot, 0ns);
  }
}

TEST(SystemClock, ASleepCanBeCancelledAndBounded) {
  using namespace asio::experimental::awaitable_operators;
  asio::io_context context;
  SystemClock clock;
  std::exception_ptr timedOut;
  const auto race = [&]() -> asio::awaitable<void> {
    co_await (clock.sleepFor(1h) || clock.sleepFor(1ms));
    timedOut = co_await failureOf(withTimeout(clock, 1ms, clock.sleepFor(1h)));
  };
  bool done = false;
  asio::co_spawn(context, race(), [&](const std::exception_ptr& failure) { done = !failure; });
  context.run_for(20s);
  EXPECT_TRUE(done);
  ASSERT_TRUE(timedOut);
  EXPECT_THROW(std::rethrow_exception(timedOut), boost::system::system_error);
}

}  // namespace
}  // namespace orvik
