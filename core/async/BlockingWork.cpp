#include "core/async/BlockingWork.h"

#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <system_error>
#include <thread>

#include "core/async/OneShotEvent.h"
#include "core/async/Timeout.h"

namespace orvik {

namespace {

struct Job {
  std::function<void()> work;
  OneShotEvent done;
  /// Somebody has waited too long for it.
  bool isStuck = false;
};

}  // namespace

/// What the thread and its users share; one lock for all of it.
class BlockingWork::Worker : public std::enable_shared_from_this<Worker> {
 public:
  /// Nothing when a stuck job is in the way, or there is no thread to be had.
  std::shared_ptr<Job> add(std::function<void()> work) {
    auto job = std::make_shared<Job>(Job{std::move(work), {}});
    const std::lock_guard guard(lock);
    if ((running && running->isStuck) || !startThread()) {
      return nullptr;
    }
    waiting.push_back(job);
    changed.notify_one();
    return job;
  }

  /// Nobody waits for the job any more, which may be done.
  void giveUp(const std::shared_ptr<Job>& job, bool isTooLong) {
    const std::lock_guard guard(lock);
    const bool isWaiting = std::erase(waiting, job) > 0;
    if (isTooLong && running && (isWaiting || running == job)) {
      // Itself, or the one that it has waited behind.
      running->isStuck = true;
    }
  }

  void end() {
    const std::lock_guard guard(lock);
    isEnding = true;
    changed.notify_one();
  }

 private:
  /// Started when it is needed first, so that a group that is never read costs none.
  bool startThread() {
    if (!isStarted) {
      try {
        std::thread([self = shared_from_this()] { self->work(); }).detach();
        isStarted = true;
      } catch (const std::system_error&) {
        // No thread is left; there may be one at the next attempt.
      }
    }
    return isStarted;
  }

  void work() {
    std::unique_lock guard(lock);
    for (;;) {
      changed.wait(guard, [this] { return isEnding || !waiting.empty(); });
      if (waiting.empty()) {
        return;
      }
      running = std::move(waiting.front());
      waiting.pop_front();
      guard.unlock();
      try {
        running->work();
      } catch (...) {
        // Its result stays empty, which says all that anybody can do about it.
      }
      // What it owns goes before anybody hears of its end.
      running->work = nullptr;
      guard.lock();
      const std::shared_ptr<Job> ended = std::move(running);
      guard.unlock();
      ended->done.set();
      guard.lock();
    }
  }

  std::mutex lock;
  std::condition_variable changed;
  bool isStarted = false;
  bool isEnding = false;
  std::deque<std::shared_ptr<Job>> waiting;
  std::shared_ptr<Job> running;
};

BlockingWork::BlockingWork(std::shared_ptr<Clock> clock)
    : clock(std::move(clock)), worker(std::make_shared<Worker>()) {}

BlockingWork::~BlockingWork() { worker->end(); }

asio::awaitable<bool> BlockingWork::runWithin(Clock::Duration limit, std::function<void()> work) {
  const auto time = clock;
  const auto shared = worker;
  const auto job = shared->add(std::move(work));
  if (!job) {
    co_return false;
  }
  struct Waiting {
    std::shared_ptr<Worker> worker;
    std::shared_ptr<Job> job;
    bool isTooLong = false;
    ~Waiting() { worker->giveUp(job, isTooLong); }
  } waiting{shared, job};

  try {
    co_await withTimeout(*time, limit, job->done.wait());
  } catch (const boost::system::system_error& error) {
    if (error.code() != asio::error::timed_out) {
      throw;
    }
    waiting.isTooLong = true;
  }
  co_return !waiting.isTooLong;
}

}  // namespace orvik
