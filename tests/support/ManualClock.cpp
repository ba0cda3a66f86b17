#include "tests/support/ManualClock.h"

#include <boost/asio/this_coro.hpp>

namespace orvik::test {

asio::awaitable<void> ManualClock::sleepUntil(Instant deadline) {
  const asio::any_io_executor executor = co_await asio::this_coro::executor;
  struct Registration {
    std::multimap<Instant, std::shared_ptr<Notifier>>& sleepers;
    std::multimap<Instant, std::shared_ptr<Notifier>>::iterator place;
    ~Registration() { sleepers.erase(place); }
  };
  const auto wake = std::make_shared<Notifier>(executor);
  const Registration registration{sleepers, sleepers.emplace(deadline, wake)};
  co_await wake->until([this, deadline] { return now() >= deadline; });
}

void ManualClock::settle() {
  context.restart();
  while (context.poll() > 0) {
  }
}

void ManualClock::advance(Duration duration) {
  const Instant target = now() + duration;
  settle();
  for (;;) {
    // Sleepers whose time has come are still listed until they run.
    const auto next = sleepers.upper_bound(now());
    if (next == sleepers.end() || next->first > target) {
      break;
    }
    elapsed = next->first.time_since_epoch();
    const auto range = sleepers.equal_range(next->first);
    for (auto sleeper = range.first; sleeper != range.second; ++sleeper) {
      sleeper->second->notify();
    }
    settle();
  }
  elapsed = target.time_since_epoch();
  settle();
}

}  // namespace orvik::test
