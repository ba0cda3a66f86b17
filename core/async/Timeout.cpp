#include "core/async/Timeout.h"

#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/this_coro.hpp>

namespace orvik {

asio::awaitable<std::exception_ptr> failureOf(asio::awaitable<void> operation) {
  try {
    co_await std::move(operation);
  } catch (...) {
    co_return std::current_exception();
  }
  co_return nullptr;
}

asio::awaitable<void> withTimeout(Clock& clock, Clock::Duration limit,
                                  asio::awaitable<void> operation) {
  using namespace asio::experimental::awaitable_operators;
  const auto winner = co_await (failureOf(std::move(operation)) || clock.sleepFor(limit));
  if (const auto* failure = std::get_if<std::exception_ptr>(&winner)) {
    if (*failure) {
      std::rethrow_exception(*failure);
    }
  } else {
    throw boost::system::system_error(asio::error::timed_out);
  }
}

}  // namespace orvik
