#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "core/async/BlockingWork.h"
#include "tests/support/ManualClock.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;

/// A function that blocks until it is let go, and says when it has begun.
struct Gate {
  std::promise<void> opened;
  std::shared_ptr<std::promise<void>> begun = std::make_shared<std::promise<void>>();
  std::function<int()> function = [open = opened.get_future().share(), begun = begun] {
    begun->set_value();
    open.wait();
    return 1;
  };
};

class BlockingWorkTest : public testing::Test {
 protected:
  struct Run {
    /// Empty until it is over: the result, "none" or "cancelled".
    std::string end;
    asio::cancellation_signal cancel;
  };

  std::shared_ptr<Run> start(Clock::Duration limit, std::function<int()> function) {
    auto run = std::make_shared<Run>();
    const auto note = [run](const std::exception_ptr& failure, std::optional<int> result) {
      run->end = failure ? "cancelled" : result ? std::to_string(*result) : "none";
    };
    asio::co_spawn(context, work->run(limit, std::move(function)),
                   asio::bind_cancellation_slot(run->cancel.slot(), note));
    clock->settle();
    return run;
  }
  std::string endOf(const std::shared_ptr<Run>& run) {
    while (run->end.empty()) {
      context.restart();
      if (context.run_one_for(60s) == 0) {
        return "not in a minute";
      }
    }
    return run->end;
  }

  asio::io_context context;
  std::shared_ptr<test::ManualClock> clock = std::make_shared<test::ManualClock>(context);
  std::unique_ptr<BlockingWork> work = std::make_unique<BlockingWork>(clock);
};

TEST_F(BlockingWorkTest, GivesResultsInTurnOnTheCallersThread) {
  const auto owned = std::make_shared<int>(1);
  const auto first = start(1s, [owned] { return *owned; });
  const auto failing = start(1s, []() -> int { throw std::runtime_error("no"); });
  const auto last = start(1s, [] { return 3; });
  EXPECT_EQ(endOf(first), "1");
  EXPECT_EQ(endOf(failing), "none");
  EXPECT_EQ(endOf(last), "3");
  EXPECT_EQ(owned.use_count(), 1);
}

TEST_F(BlockingWorkTest, AStuckFunctionCostsItsThreadAndNothingElse) {
  Gate gate;
  const auto stuck = start(2s, gate.function);
  const auto behind = start(5s, [] { return 2; });
  gate.begun->get_future().wait();
  clock->advance(2s - 1ns);
  EXPECT_EQ(stuck->end, "");
  clock->advance(1ns);
  EXPECT_EQ(stuck->end, "none");
  EXPECT_EQ(start(1h, [] { return 3; })->end, "none") << "refused at once";
  EXPECT_EQ(behind->end, "");
  clock->advance(3s);
  EXPECT_EQ(behind->end, "none");
  gate.opened.set_value();
  // When its thread has noticed is not ours to say.
  while (endOf(start(1s, [] { return 4; })) != "4") {
    std::this_thread::yield();
  }

  // It may also be destroyed meanwhile; what the function needs is its own.
  Gate next;
  const auto owned = std::make_shared<int>(1);
  (void)start(1s, [function = next.function, owned] { return function(); });
  next.begun->get_future().wait();
  clock->advance(1s);
  work.reset();
  EXPECT_EQ(owned.use_count(), 2);
  next.opened.set_value();
  while (owned.use_count() > 1) {
    std::this_thread::yield();
  }
}

TEST_F(BlockingWorkTest, WhoIsCancelledLeavesAtOnce) {
  Gate gate;
  const auto running = start(1h, gate.function);
  gate.begun->get_future().wait();
  running->cancel.emit(asio::cancellation_type::terminal);
  clock->settle();
  EXPECT_EQ(running->end, "cancelled");
  // The function is not stuck, only no longer waited for.
  const auto behind = start(1h, [] { return 2; });
  EXPECT_EQ(behind->end, "");
  gate.opened.set_value();
  EXPECT_EQ(endOf(behind), "2");
}

}  // namespace
}  // namespace orvik
