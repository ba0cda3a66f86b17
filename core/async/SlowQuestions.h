#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
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
    std::unique_lock guard(asked->lock);
    std::vector<const Entry*> again;
    std::vector<const Entry*> first;
    ++round;
    for (const std::string& question : questions) {
      Entry& entry = asked->entries[question];
      entry.round = round;
      if (entry.isAsking) {
        countRepeat(entry);
      } else if (start(question, entry)) {
        (entry.answer ? again : first).push_back(&entry);
      }
    }
    const auto waitFor = [&](const std::vector<const Entry*>& started, Limit time) {
      asked->changed.wait_until(guard, startedAt + time, [&] {
        return std::ranges::none_of(started, [](const Entry* entry) { return entry->isAsking; });
      });
    };
    waitFor(again, limit / 20);
    waitFor(first, limit);
    std::vector<std::optional<Answer>> results;
    for (const std::string& question : questions) {
      results.push_back(asked->entries[question].answer);
    }
    std::erase_if(asked->entries, [&](const auto& entry) {
      return entry.second.round != round && !entry.second.isAsking;
    });
    return results;
  }

  /// The last answer to one of the questions that were last asked, also one that came after that.
  [[nodiscard]] std::optional<Answer> lastAnswer(const std::string& question) const {
    const std::lock_guard guard(asked->lock);
    const auto found = asked->entries.find(question);
    return found == asked->entries.end() ? std::nullopt : found->second.answer;
  }

 private:
  /// More threads than this are never waiting; what would need another is not asked this time.
  static constexpr int mostWaiting = 64;

  struct Entry {
    std::optional<Answer> answer;
    /// How often the answer was given since its successor was asked for.
    int repeats = 0;
    bool isAsking = false;
    /// When it was last among the questions.
    std::uint64_t round = 0;
  };

  struct Asked {
    std::mutex lock;
    std::condition_variable changed;
    /// An entry stays where it is as long as a thread waits for its answer.
    std::map<std::string, Entry> entries;
    int waiting = 0;
  };

  /// Starts a thread for the question; false when that is not possible. Called with the lock.
  bool start(const std::string& question, Entry& entry) {
    if (asked->waiting >= mostWaiting) {
      countRepeat(entry);
      return false;
    }
    try {
      std::thread([asked = asked, ask = ask, question, &entry] {
        Answer answer = ask(question);
        const std::lock_guard guard(asked->lock);
        entry.answer = std::move(answer);
        entry.repeats = 0;
        entry.isAsking = false;
        --asked->waiting;
        asked->changed.notify_all();
      }).detach();
    } catch (const std::system_error&) {
      // The system has no thread to spare.
      countRepeat(entry);
      return false;
    }
    entry.isAsking = true;
    ++asked->waiting;
    return true;
  }

  void countRepeat(Entry& entry) {
    if (++entry.repeats >= mostRepeats) {
      entry.answer.reset();
    }
  }

  Ask ask;
  Limit limit;
  std::uint64_t round = 0;
  std::shared_ptr<Asked> asked = std::make_shared<Asked>();
};

}  // namespace orvik
