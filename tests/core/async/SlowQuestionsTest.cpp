#include <gtest/gtest.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <stdexcept>

#include "core/async/SlowQuestions.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;

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
