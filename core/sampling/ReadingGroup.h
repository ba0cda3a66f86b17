#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/cancellation_signal.hpp>

#include <functional>
#include <memory>

#include "core/async/Clock.h"
#include "core/async/Notifier.h"
#include "core/sampling/Cadence.h"
#include "core/values/JSONValue.h"

namespace orvik {

/// Readings that are taken together, at their own pace and in the background: one that takes long
/// or hangs holds up nobody for long, and its last answer stands in for it. Used on one executor.
class ReadingGroup : public std::enable_shared_from_this<ReadingGroup> {
 public:
  /// Takes the readings, and owns all that it uses. An empty object is no answer.
  using Read = std::function<asio::awaitable<JSONObject>()>;

  struct Pace {
    /// Between two readings.
    Clock::Duration interval;
    /// How long an answer stands in for those that do not come.
    Clock::Duration life;
    /// How long a reading is waited for from its beginning; the first one at least `firstWait`.
    Clock::Duration wait;
  };
  static constexpr std::chrono::seconds firstWait{5};

  /// Owned by a std::shared_ptr: a reading that is under way keeps it alive.
  ReadingGroup(const asio::any_io_executor& executor, std::shared_ptr<Clock> clock, Pace pace);

  /// Begins a reading when one is due and none is under way. Whether it has.
  bool refresh(Read read);
  /// The last answer; empty when there is none or it is too old.
  [[nodiscard]] JSONObject last() const;
  /// The same once the reading that is under way has ended or been waited for. Cancellable, which
  /// does not end the reading.
  asio::awaitable<JSONObject> latest();
  /// Ends the reading that is under way.
  void cancel() { cancellation.emit(asio::cancellation_type::terminal); }

 private:
  static asio::awaitable<void> run(std::shared_ptr<ReadingGroup> self, Read read);
  void end();

  const asio::any_io_executor executor;
  const std::shared_ptr<Clock> clock;
  const Pace pace;
  Cadence cadence;
  Notifier ended;
  asio::cancellation_signal cancellation;
  bool isRunning = false;
  /// The reading that runs has given nothing yet.
  bool isAwaited = false;
  bool isFirst = true;
  Instant begunAt;
  JSONObject answer;
  Instant answeredAt;
};

}  // namespace orvik
