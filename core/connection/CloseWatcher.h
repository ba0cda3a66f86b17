#pragma once

#include <boost/asio/awaitable.hpp>

#include <map>
#include <memory>
#include <mutex>

#include "core/async/Clock.h"
#include "core/async/OneShotEvent.h"
#include "core/connection/WebSocketTask.h"

namespace orvik {

/// The end of a WebSocket task, for which somebody waits a limited time.
class CloseSignal {
 public:
  /// Releases the waiter. May be called from any thread; repeating it is harmless.
  void fire() const { event.set(); }

  /// Resumes when the signal has fired or `limit` has passed. One waiter at a time.
  asio::awaitable<void> value(Clock& clock, Clock::Duration limit) const;

 private:
  OneShotEvent event;
};

/// Passes on the end of a WebSocket task to the one who waits for it, if anybody does. All
/// operations may be called from any thread.
class CloseWatcher final : public WebSocketObserver {
 public:
  /// From now on the end of this task fires the returned signal, once.
  [[nodiscard]] CloseSignal watch(int taskIdentifier);

  void didComplete(int taskIdentifier) override;

 private:
  std::mutex lock;
  std::map<int, CloseSignal> waiters;
};

}  // namespace orvik
