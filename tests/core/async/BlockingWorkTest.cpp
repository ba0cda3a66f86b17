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
  std::shared_future<void> open = opened.get_future().share();
  std::shared_ptr<std::promise<void>> begun = std::make_shared<std::promise<void>>();

  auto function(int result) const {
    return [open = open, begun = begun, result] {
      begun->set_value();
      open.wait();
      return result;
    };
  }
};

class BlockingWorkTest : public testing::Test {
 protected:
  struct Outcome {
    bool isOver = false;
    std::optional<int> result;
    std::exception_ptr failure;
    asio::cancellation_signal cancel;
  };

  template <typename Function>
  std::shared_ptr<Outcome> start(Clock::Duration limit, Function function) {
    auto outcome = std::make_shared<Outcome>();
    asio::co_spawn(context, work->run(limit, std::move(function)),
                   asio::bind_cancellation_slot(
                       outcome->cancel.slot(),
                       [outcome](const std::exception_ptr& failure, std::optional<int> result) {
                         outcome->isOver = true;
                         outcome->result = result;
                         outcome->failure = failure;
                       }));
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

  /// After a stuck function has returned: when its thread has noticed is not ours to say.
  template <typename Function>
  std::optional<int> startUntilAccepted(Function function) {
    for (;;) {
      if (const auto result = finish(start(1s, function))) {
        return result;
      }
      std::this_thread::yield();
    }
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
  EXPECT_FALSE(failing->failure);
  EXPECT_EQ(finish(last), 3);
  EXPECT_EQ(owned.use_count(), 1);
}

TEST_F(BlockingWorkTest, AStuckFunctionCostsItsThreadAndNothingElse) {
  Gate gate;
  const auto stuck = start(2s, gate.function(1));
  const auto behind = start(5s, [] { return 2; });
  gate.begun->get_future().wait();
  clock->advance(2s - 1ns);
  EXPECT_FALSE(stuck->isOver);
  clock->advance(1ns);
  EXPECT_TRUE(stuck->isOver);
  EXPECT_EQ(stuck->result, std::nullopt);
  EXPECT_FALSE(behind->isOver);
  // Refused at once, without a thread or a place in the queue.
  EXPECT_TRUE(start(1h, [] { return 3; })->isOver);
  clock->advance(3s);
  EXPECT_TRUE(behind->isOver);
  EXPECT_EQ(behind->result, std::nullopt);

  gate.opened.set_value();
  EXPECT_EQ(startUntilAccepted([] { return 4; }), 4);

  // It may also be destroyed meanwhile; what the function needs is its own.
  Gate next;
  const auto owned = std::make_shared<int>(1);
  (void)start(1s, [function = next.function(1), owned] { return function(); });
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
  const auto running = start(1h, gate.function(1));
  gate.begun->get_future().wait();
  running->cancel.emit(asio::cancellation_type::terminal);
  clock->settle();
  ASSERT_TRUE(running->isOver);
  EXPECT_TRUE(running->failure);
  // It is not stuck, only no longer waited for.
  const auto behind = start(1h, [] { return 2; });
  EXPECT_FALSE(behind->isOver);
  gate.opened.set_value();
  EXPECT_EQ(finish(behind), 2);
}

}  // namespace
}  // namespace orvik
