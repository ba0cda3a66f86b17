#include "core/sampling/ReadingGroup.h"

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>

#include <algorithm>
#include <utility>

namespace orvik {

ReadingGroup::ReadingGroup(const asio::any_io_executor& executor, std::shared_ptr<Clock> clock,
                           Pace pace)
    : executor(executor),
      clock(std::move(clock)),
      pace(pace),
      cadence(pace.interval),
      ended(executor) {}

bool ReadingGroup::refresh(Read read) {
  if (isRunning || !cadence.isDue(clock->now())) {
    return false;
  }
  isRunning = true;
  isAwaited = true;
  begunAt = clock->now();
  const auto self = shared_from_this();
  asio::co_spawn(
      executor, run(self, std::move(read)),
      asio::bind_cancellation_slot(cancellation.slot(), [self](const std::exception_ptr&) {
        // One that was cancelled or failed is no answer.
        self->isRunning = false;
        self->end();
      }));
  return true;
}

void ReadingGroup::end() {
  isAwaited = false;
  isFirst = false;
  ended.notify();
}

asio::awaitable<void> ReadingGroup::run(std::shared_ptr<ReadingGroup> self, Read read) {
  JSONObject readings = co_await read();
  const Instant now = self->clock->now();
  self->cadence.refreshed(self->begunAt, now);
  if (!readings.empty()) {
    self->answer = std::move(readings);
    self->answeredAt = now;
  }
  // An answer that was there at once is waited for by nobody: co_spawn tells of the end later.
  self->end();
}

JSONObject ReadingGroup::last() const {
  return clock->now() - answeredAt <= pace.life ? answer : JSONObject();
}

asio::awaitable<JSONObject> ReadingGroup::latest() {
  using namespace asio::experimental::awaitable_operators;
  const Clock::Duration wait =
      isFirst ? std::max<Clock::Duration>(firstWait, pace.wait) : pace.wait;
  if (isAwaited && clock->now() < begunAt + wait) {
    const std::function<bool()> hasEnded = [this] { return !isAwaited; };
    co_await (ended.until(hasEnded) || clock->sleepUntil(begunAt + wait));
  }
  co_return last();
}

}  // namespace orvik
