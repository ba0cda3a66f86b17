#pragma once

#include <boost/asio/awaitable.hpp>
#include <boost/asio/steady_timer.hpp>

#include <memory>
#include <mutex>

#include "core/async/Clock.h"

namespace orvik {

/// A one-shot event: somebody waits, for a limited time, until another thread fires it.
class CloseSignal {
 public:
  /// Releases the waiter. May be called from any thread; repeating it is harmless.
  void fire();

  /// Resumes when the signal has fired or `limit` has passed. One waiter at a time.
  asio::awaitable<void> value(Clock& clock, Clock::Duration limit);

 private:
  asio::awaitable<void> wait();

  std::mutex lock;
  bool fired = false;
  /// Wakes the one suspended waiter when it is cancelled; none when nobody waits.
  std::shared_ptr<asio::steady_timer> continuation;
};

}  // namespace orvik
