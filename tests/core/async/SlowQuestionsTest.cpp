#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <thread>

#include "core/async/SlowQuestions.h"

namespace orvik {
namespace {

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
};

TEST(SlowQuestions, ASilentServerDelaysNothingButItself) {
  using namespace std::chrono_literals;
  const auto server = std::make_shared<SilentServer>();
  SlowQuestions<int> questions([server](const std::string&) { return server->ask(); }, 20ms);
  using Answers = std::vector<std::optional<int>>;
  // Its own limit decides how long the first question waits; the others do not wait at all.
  EXPECT_EQ(questions.answers({"gone"}), Answers{std::nullopt});
  SlowQuestions<int> patient([](const std::string&) { return 7; }, std::chrono::hours(1));
  EXPECT_EQ(patient.answers({"here", "there"}), (Answers{7, 7}));
  EXPECT_EQ(questions.answers({"gone"}), Answers{std::nullopt});
  const auto answerOnce = [&](int answer) {
    {
      std::unique_lock guard(server->lock);
      // However often it was asked for: one thread.
      EXPECT_LE(server->asked, answer);
      server->isBack = true;
      server->changed.notify_all();
      server->changed.wait(guard, [&] { return server->answered == answer; });
      server->isBack = false;
    }
    while (questions.lastAnswer("gone") != answer) {
      // The thread is on its way from the answer to where it is kept.
      std::this_thread::yield();
    }
  };
  answerOnce(1);
  // A server that always takes longer than the limit: the last answer stands in for the next.
  EXPECT_EQ(questions.answers({"gone"}), Answers{1});
  answerOnce(2);
  // But not for ever: it is gone again.
  for (int i = 0; i < SlowQuestions<int>::mostRepeats; ++i) {
    EXPECT_EQ(questions.answers({"gone"}), Answers{2}) << i;
  }
  EXPECT_EQ(questions.answers({"gone"}), Answers{std::nullopt});
  answerOnce(3);
  EXPECT_EQ(questions.answers({"gone", "other"}), (Answers{3, std::nullopt}));
}

TEST(SlowQuestions, ThreadsThatAreLeftBehindAreCounted) {
  const auto server = std::make_shared<SilentServer>();
  {
    SlowQuestions<int> questions([server](const std::string&) { return server->ask(); },
                                 std::chrono::milliseconds(0));
    for (int i = 0; i < 100; ++i) {
      EXPECT_EQ(questions.answers({std::to_string(i)}).front(), std::nullopt);
    }
  }
  std::unique_lock guard(server->lock);
  server->isBack = true;
  server->changed.notify_all();
  constexpr int mostWaiting = 64;
  server->changed.wait(guard, [&] { return server->answered == mostWaiting; });
  EXPECT_EQ(server->asked, mostWaiting);
}

}  // namespace
}  // namespace orvik
