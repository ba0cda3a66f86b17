#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/strand.hpp>
#include <gtest/gtest.h>

#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "core/async/BlockingWork.h"
#include "core/async/OneShotEvent.h"
#include "core/async/SlowQuestions.h"
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

/// A coroutine w(aits); s: a thread sets the event; the coroutine is c(ancelled), r(uns), or is
/// d(estroyed with its io_context), which b(oth) happens at the same time.
TEST(OneShotEvent, MeetsEveryEndOfItsCoroutine) {
  const std::pair<const char*, const char*> cases[] = {
      {"wr", ""},
      {"swr", "resumed"},
      {"wrsr", "resumed"},
      {"wrsrsr", "resumed"},
      {"wrssr", "resumed"},
      {"wrcrs", "aborted"},
      {"wrscr", "aborted"},
      {"wrcsr", "aborted"},
      {"wrcrwrsr", "abortedresumed"},
      {"wrsd", ""},
      {"wrds", ""},
      {"wrcds", ""},
      {"wrcsds", ""},
      {"wrb", ""},
  };
  for (int round = 0; round < 100; ++round) {
    const auto& [events, expected] = cases[static_cast<std::size_t>(round) % std::size(cases)];
    auto context = std::make_unique<asio::io_context>();
    auto cancellation = std::make_unique<asio::cancellation_signal>();
    const OneShotEvent event;
    std::string ends;
    const auto set = [event] { event.set(); };
    for (const char* what = events; *what != '\0'; ++what) {
      if (*what == 'w') {
        const asio::any_io_executor plain = context->get_executor();
        asio::co_spawn(
            round / static_cast<int>(std::size(cases)) % 2 == 0 ? plain : asio::make_strand(plain),
            event.wait(),
            asio::bind_cancellation_slot(cancellation->slot(),
                                         [&ends](const std::exception_ptr& failure) {
                                           ends += failure ? "aborted" : "resumed";
                                         }));
      } else if (*what == 's') {
        std::thread(set).join();
      } else if (*what == 'c') {
        cancellation->emit(asio::cancellation_type::terminal);
      } else if (*what == 'r') {
        context->restart();
        context->poll();
      } else {
        std::thread setting(*what == 'b' ? std::function<void()>(set) : [] {});
        cancellation.reset();
        context.reset();
        setting.join();
      }
    }
    EXPECT_EQ(ends, expected) << events;
  }
}

/// What a server that is gone does to whoever asks it, until it comes back.
struct SilentServer {
  std::mutex lock;
  std::condition_variable changed;
  bool isBack = false;
  int asked = 0;
  int answered = 0;

  int ask() {
    std::unique_lock guard(lock);
    ++asked;
    changed.wait(guard, [&] { return isBack; });
    ++answered;
    changed.notify_all();
    return answered;
  }
  void answer(int count) {
    std::unique_lock guard(lock);
    isBack = true;
    changed.notify_all();
    changed.wait(guard, [&] { return answered == count; });
    EXPECT_EQ(asked, count) << "one thread, however often it was asked for";
    isBack = false;
  }
};

TEST(SlowQuestions, ASilentServerDelaysNothingButItself) {
  const auto server = std::make_shared<SilentServer>();
  SlowQuestions<int> questions([server](const std::string&) { return server->ask(); }, 20ms);
  using Answers = std::vector<std::optional<int>>;
  const auto answerOnce = [&](int answer) {
    server->answer(answer);
    while (questions.lastAnswer("gone") != answer) {
      // The thread is on its way from the answer to where it is kept.
      std::this_thread::yield();
    }
  };
  EXPECT_EQ(questions.answers({"gone"}), Answers{std::nullopt});
  EXPECT_EQ(questions.answers({"gone"}), Answers{std::nullopt});
  answerOnce(1);
  // A server that always takes longer than the limit: the last answer stands in for the next, but
  // not for ever.
  EXPECT_EQ(questions.answers({"gone"}), Answers{1});
  answerOnce(2);
  for (int i = 0; i < SlowQuestions<int>::mostRepeats; ++i) {
    EXPECT_EQ(questions.answers({"gone"}), Answers{2}) << i;
  }
  EXPECT_EQ(questions.answers({"gone"}), Answers{std::nullopt});
  answerOnce(3);
  EXPECT_EQ(questions.answers({"gone", "other"}), (Answers{3, std::nullopt}));
  server->answer(5);
}

TEST(SlowQuestions, ThreadsThatAreLeftBehindAreCounted) {
  const auto server = std::make_shared<SilentServer>();
  {
    SlowQuestions<int> questions([server](const std::string&) { return server->ask(); }, 0ms);
    for (int i = 0; i < 100; ++i) {
      EXPECT_EQ(questions.answers({std::to_string(i)}).front(), std::nullopt);
    }
  }
  constexpr int mostWaiting = 64;
  server->answer(mostWaiting);
}

TEST(SlowQuestions, WhatIsThrownIsNoAnswer) {
  SlowQuestions<int> questions(
      [](const std::string& question) {
        return question == "bad" ? throw std::runtime_error("no") : 7;
      },
      1h);
  EXPECT_EQ(questions.answers({"bad", "good"}), (std::vector<std::optional<int>>{{}, 7}));
}

}  // namespace
}  // namespace orvik
