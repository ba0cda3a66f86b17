#include "core/async/Timeout.h"

#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/this_coro.hpp>

#include <utility>

namespace orvik {

namespace {

asio::awaitable<void> timeOut(Clock& clock, Clock::Duration limit) {
  co_await clock.sleepFor(limit);
  throw boost::system::system_error(asio::error::timed_out);
}

}  // namespace

asio::awaitable<std::exception_ptr> failureOf(asio::awaitable<void> operation) {
  try {
    co_await std::move(operation);
  } catch (...) {
    co_return std::current_exception();
  }
  co_return nullptr;
}

asio::awaitable<void> firstOf(asio::awaitable<void> left, asio::awaitable<void> right) {
  using namespace asio::experimental::awaitable_operators;
  const auto first = co_await (failureOf(std::move(left)) || failureOf(std::move(right)));
  const auto failure = std::visit([](const std::exception_ptr& ended) { return ended; }, first);
  if (failure) {
    std::rethrow_exception(failure);
  }
}

asio::awaitable<void> withTimeout(Clock& clock, Clock::Duration limit,
                                  asio::awaitable<void> operation) {
  return firstOf(std::move(operation), timeOut(clock, limit));
}

}  // namespace orvik
