#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <exception>
#include <functional>
#include <future>
#include <map>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace orvik {

/// Runs a function that may block for ever on a thread of its own, which is left behind when nobody
/// waits for it: it owns all that it uses. What it throws is in the future, whose end waits for
/// nothing. Throws std::system_error when the system has no thread to spare.
template <typename Function>
std::future<std::invoke_result_t<Function&>> runOnOwnThread(Function function) {
  std::packaged_task<std::invoke_result_t<Function&>()> task(std::move(function));
  auto result = task.get_future();
  std::thread(std::move(task)).detach();
  return result;
}

/// Asks the system what it may never answer, and what cannot be interrupted: the size of a share
/// whose server is gone, the name of an address without a name server. Each question has a thread
/// of its own, which is left behind when the answer does not come in time. To be used from one
/// thread at a time.
template <typename Answer>
class SlowQuestions {
 public:
  /// Answers one question. Called on any thread, perhaps after the end of this object.
  using Ask = std::function<Answer(const std::string& question)>;
  using Limit = std::chrono::milliseconds;

  /// So many times an answer is given again while the next one does not come. For what is asked
  /// every ten seconds: a minute, after which nobody should rely on it.
  static constexpr int mostRepeats = 6;

  SlowQuestions(Ask ask, Limit limit) : ask(std::move(ask)), limit(limit) {}

  /// Asks all of the questions; gives the answers, and for questions whose answer does not come in
  /// time the last one. A question that is new is waited for up to the limit, one that has been
  /// answered before a twentieth of that: what answers at once is up to date, and what never does
  /// delays nobody. While its thread is still waiting, a question is neither asked a second time
  /// nor waited for. Forgets the answers to all other questions.
  [[nodiscard]] std::vector<std::optional<Answer>> answers(
      const std::vector<std::string>& questions) {
    const auto startedAt = std::chrono::steady_clock::now();
    for (auto& [question, entry] : entries) {
      entry.takeAnswer();
      entry.isWanted = false;
      entry.waitUntil = startedAt;
    }
    for (const std::string& question : questions) {
      Entry& entry = entries[question];
      entry.isWanted = true;
      if (!entry.coming.valid() && start(question, entry)) {
        entry.waitUntil = startedAt + (entry.answer ? limit / 20 : limit);
      } else if (++entry.repeats >= mostRepeats) {
        entry.answer.reset();
      }
    }
    std::vector<std::optional<Answer>> results;
    for (const std::string& question : questions) {
      Entry& entry = entries[question];
      if (entry.coming.valid()) {
        entry.coming.wait_until(entry.waitUntil);
      }
      entry.takeAnswer();
      results.push_back(entry.answer);
    }
    std::erase_if(entries, [](const auto& named) {
      return !named.second.isWanted && !named.second.coming.valid();
    });
    return results;
  }

  /// The last answer to one of the questions that were last asked, also one that came after that.
  [[nodiscard]] std::optional<Answer> lastAnswer(const std::string& question) {
    const auto found = entries.find(question);
    if (found == entries.end()) {
      return std::nullopt;
    }
    found->second.takeAnswer();
    return found->second.answer;
  }

 private:
  /// More threads than this are never waiting; what would need another is not asked this time.
  static constexpr std::ptrdiff_t mostWaiting = 64;

  struct Entry {
    std::optional<Answer> answer;
    /// How often the answer was given since its successor was asked for.
    int repeats = 0;
    /// Valid as long as a thread waits for it.
    std::future<Answer> coming;
    std::chrono::steady_clock::time_point waitUntil;
    /// It is among the questions that were last asked.
    bool isWanted = false;

    void takeAnswer() {
      if (!coming.valid() || coming.wait_for(Limit(0)) != std::future_status::ready) {
        return;
      }
      try {
        answer = coming.get();
        repeats = 0;
      } catch (const std::exception&) {
        // No memory, most likely: as good as no answer.
      }
    }
  };

  /// Starts a thread for the question; false when that is not possible.
  bool start(const std::string& question, Entry& entry) {
    if (std::ranges::count_if(entries, [](const auto& named) {
          return named.second.coming.valid();
        }) >= mostWaiting) {
      return false;
    }
    try {
      entry.coming = runOnOwnThread([ask = ask, question] { return ask(question); });
    } catch (const std::system_error&) {
      return false;  // the system has no thread to spare
    }
    return true;
  }

  Ask ask;
  Limit limit;
  std::map<std::string, Entry> entries;
};

}  // namespace orvik
