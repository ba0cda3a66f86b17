#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>

#include <utility>

#include "core/async/Notifier.h"

namespace orvik {

/// A mutex for the coroutines of one executor, which wait for it without blocking a thread.
class AsyncMutex {
 public:
  explicit AsyncMutex(const asio::any_io_executor& executor) : changed(executor) {}

  /// Runs the operation while no other one that was given to this mutex runs. Cancellable, while it
  /// waits too.
  template <typename Result>
  asio::awaitable<Result> withLock(asio::awaitable<Result> operation) {
    const auto isFree = [this] { return !isLocked; };
    co_await changed.until(isFree);
    const Lock lock(*this);
    co_return co_await std::move(operation);
  }

 private:
  struct Lock {
    explicit Lock(AsyncMutex& mutex) : mutex(mutex) { mutex.isLocked = true; }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
    ~Lock() {
      mutex.isLocked = false;
      mutex.changed.notify();
    }
    AsyncMutex& mutex;
  };

  Notifier changed;
  bool isLocked = false;
};

}  // namespace orvik
