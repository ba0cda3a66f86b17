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
  struct Outcome {
    bool isOver = false;
    std::optional<int> result;
    bool hasFailed = false;
    asio::cancellation_signal cancel;
  };

  std::shared_ptr<Outcome> start(Clock::Duration limit, std::function<int()> function) {
    auto outcome = std::make_shared<Outcome>();
    const auto note = [outcome](const std::exception_ptr& failure, std::optional<int> result) {
      outcome->isOver = true;
      outcome->result = result;
      outcome->hasFailed = failure != nullptr;
    };
    asio::co_spawn(context, work->run(limit, std::move(function)),
                   asio::bind_cancellation_slot(outcome->cancel.slot(), note));
    clock->settle();
    return outcome;
  }
  std::optional<int> finish(const std::shared_ptr<Outcome>& outcome) {
    while (!outcome->isOver) {
      context.restart();
      if (context.run_one_for(60s) == 0) {
        ADD_FAILURE() << "it does not end";
        break;
      }
    }
    return outcome->result;
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
  EXPECT_EQ(finish(first), 1);
  EXPECT_EQ(finish(failing), std::nullopt);
  EXPECT_FALSE(failing->hasFailed);
  EXPECT_EQ(finish(last), 3);
  EXPECT_EQ(owned.use_count(), 1);
}

TEST_F(BlockingWorkTest, AStuckFunctionCostsItsThreadAndNothingElse) {
  Gate gate;
  const auto stuck = start(2s, gate.function);
  const auto behind = start(5s, [] { return 2; });
  gate.begun->get_future().wait();
  clock->advance(2s - 1ns);
  EXPECT_FALSE(stuck->isOver);
  clock->advance(1ns);
  EXPECT_TRUE(stuck->isOver);
  EXPECT_EQ(stuck->result, std::nullopt);
  EXPECT_FALSE(behind->isOver);
  EXPECT_TRUE(start(1h, [] { return 3; })->isOver) << "refused at once";
  clock->advance(3s);
  EXPECT_TRUE(behind->isOver);
  EXPECT_EQ(behind->result, std::nullopt);

  gate.opened.set_value();
  // When its thread has noticed is not ours to say.
  while (finish(start(1s, [] { return 4; })) != 4) {
    std::this_thread::yield();
  }

  // It may also be destroyed meanwhile; what the function needs is its own.
  Gate next;
  const auto watched = std::make_shared<int>(1);
  (void)start(1s, [function = next.function, watched] { return function(); });
  next.begun->get_future().wait();
  clock->advance(1s);
  work.reset();
  EXPECT_EQ(watched.use_count(), 2);
  next.opened.set_value();
  while (watched.use_count() > 1) {
    std::this_thread::yield();
  }
}

TEST_F(BlockingWorkTest, WhoIsCancelledLeavesAtOnce) {
  Gate gate;
  const auto running = start(1h, gate.function);
  gate.begun->get_future().wait();
  running->cancel.emit(asio::cancellation_type::terminal);
  clock->settle();
  ASSERT_TRUE(running->isOver);
  EXPECT_TRUE(running->hasFailed);
  // It is not stuck, only no longer waited for.
  const auto behind = start(1h, [] { return 2; });
  EXPECT_FALSE(behind->isOver);
  gate.opened.set_value();
  EXPECT_EQ(finish(behind), 2);
}

}  // namespace
}  // namespace orvik
