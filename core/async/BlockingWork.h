#pragma once

#include <boost/asio/awaitable.hpp>

#include <concepts>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include "core/async/Clock.h"

namespace orvik {

namespace asio = boost::asio;

/// Runs functions that block, one at a time, on a thread of its own, and does not wait longer for
/// them than it is told: a file of a broken device or a lost network share can block for ever, and
/// nothing can end that. A function that is stuck costs this one thread: until it returns, further
/// ones are refused at once. May be used and destroyed on any thread; destroying waits for nothing,
/// a function that still runs is left to end for itself.
class BlockingWork {
 public:
  explicit BlockingWork(std::shared_ptr<Clock> clock);
  BlockingWork(const BlockingWork&) = delete;
  BlockingWork& operator=(const BlockingWork&) = delete;
  ~BlockingWork();

  /// What the function returns. Nothing when it has not returned within `limit` (waiting for its
  /// turn included) or has thrown, or when another one is stuck. Resumes on the caller's executor.
  /// Cancellable. Since the function may outlive the caller, it owns all that it uses.
  template <std::copy_constructible Function>
  asio::awaitable<std::optional<std::invoke_result_t<Function&>>> run(Clock::Duration limit,
                                                                      Function function) {
    const auto result = std::make_shared<std::optional<std::invoke_result_t<Function&>>>();
    std::function<void()> work = [result, function = std::move(function)]() mutable {
      *result = function();
    };
    if (co_await runWithin(limit, std::move(work))) {
      co_return std::move(*result);
    }
    co_return std::nullopt;
  }

 private:
  class Worker;

  /// Whether it has ended in time.
  asio::awaitable<bool> runWithin(Clock::Duration limit, std::function<void()> work);

  std::shared_ptr<Clock> clock;
  std::shared_ptr<Worker> worker;
};

}  // namespace orvik
