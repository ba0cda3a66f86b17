#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace orvik {

/// Asks the system what it may never answer, and what cannot be interrupted: the size of a share
/// whose server is gone, the name of an address without a name server. Each question has a thread
/// of its own, which is left behind when the answer does not come in time; it owns all that it
/// uses. To be used from one thread at a time.
template <typename Answer>
class SlowQuestions {
 public:
  /// Answers one question. Called on any thread, perhaps after the end of this object.
  using Ask = std::function<Answer(const std::string& question)>;
  using Limit = std::chrono::milliseconds;

  SlowQuestions(Ask ask, Limit limit) : ask(std::move(ask)), limit(limit) {}

  /// The answers to all of the questions, those that came within the limit. A question whose
  /// answer did not come is not asked a second time while its thread is still waiting, nor is it
  /// waited for again: the answer is given when it is there.
  [[nodiscard]] std::vector<std::optional<Answer>> answers(
      const std::vector<std::string>& questions) {
    const std::vector<std::string> started = start(questions);
    std::unique_lock guard(asked->lock);
    asked->changed.wait_for(guard, limit, [&] {
      return std::ranges::all_of(started, [&](const std::string& question) {
        return asked->answers.at(question).has_value();
      });
    });
    std::vector<std::optional<Answer>> results;
    for (const std::string& question : questions) {
      const auto found = asked->answers.find(question);
      results.push_back(found == asked->answers.end() ? std::nullopt : found->second);
    }
    std::erase_if(asked->answers, [](const auto& entry) { return entry.second.has_value(); });
    return results;
  }

 private:
  /// More threads than this are never waiting; what would need another has no answer.
  static constexpr std::size_t mostWaiting = 64;

  struct Asked {
    std::mutex lock;
    std::condition_variable changed;
    /// Without an answer as long as a thread waits for it.
    std::map<std::string, std::optional<Answer>> answers;
  };

  /// Starts a thread for each question that has none; gives these questions.
  std::vector<std::string> start(const std::vector<std::string>& questions) {
    std::vector<std::string> started;
    for (const std::string& question : questions) {
      const std::lock_guard guard(asked->lock);
      if (asked->answers.contains(question) || asked->answers.size() >= mostWaiting) {
        continue;
      }
      try {
        std::thread([asked = asked, ask = ask, question] {
          Answer answer = ask(question);
          const std::lock_guard answerGuard(asked->lock);
          asked->answers[question] = std::move(answer);
          asked->changed.notify_all();
        }).detach();
      } catch (const std::system_error&) {
        // The system has no thread to spare: no answer this time.
        continue;
      }
      asked->answers.emplace(question, std::nullopt);
      started.push_back(question);
    }
    return started;
  }

  Ask ask;
  Limit limit;
  std::shared_ptr<Asked> asked = std::make_shared<Asked>();
};

}  // namespace orvik
