#include "core/connection/CloseWatcher.h"

#include <boost/asio/experimental/awaitable_operators.hpp>

namespace orvik {

asio::awaitable<void> CloseSignal::value(Clock& clock, Clock::Duration limit) const {
  using namespace asio::experimental::awaitable_operators;
  co_await (event.wait() || clock.sleepFor(limit));
}

CloseSignal CloseWatcher::watch(int taskIdentifier) {
  const std::lock_guard guard(lock);
  return waiters[taskIdentifier] = CloseSignal();
}

void CloseWatcher::didComplete(int taskIdentifier) {
  decltype(waiters)::node_type waiter;
  {
    const std::lock_guard guard(lock);
    waiter = waiters.extract(taskIdentifier);
  }
  if (waiter) {
    waiter.mapped().fire();
  }
}

}  // namespace orvik
