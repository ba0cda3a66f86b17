#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>

#include <utility>

#include "core/async/Notifier.h"

namespace orvik {

/// Keeps an operation from running twice at the same time: coroutines of one executor take turns.
class Turn {
 public:
  explicit Turn(const asio::any_io_executor& executor) : changed(executor) {}

  /// Runs the operation when it is its turn. Cancellable, while it waits too.
  template <typename Result>
  asio::awaitable<Result> take(asio::awaitable<Result> operation) {
    const auto isFree = [this] { return !isTaken; };
    co_await changed.until(isFree);
    const Taken mark(*this);
    co_return co_await std::move(operation);
  }

 private:
  struct Taken {
    explicit Taken(Turn& turn) : turn(turn) { turn.isTaken = true; }
    Taken(const Taken&) = delete;
    Taken& operator=(const Taken&) = delete;
    ~Taken() {
      turn.isTaken = false;
      turn.changed.notify();
    }
    Turn& turn;
  };

  Notifier changed;
  bool isTaken = false;
};

}  // namespace orvik
