#include "core/async/Notifier.h"

#include <boost/asio/redirect_error.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

namespace orvik {

Notifier::Notifier(const asio::any_io_executor& executor)
    : timer(executor, asio::steady_timer::time_point::max()) {}

asio::awaitable<void> Notifier::until(std::function<bool()> condition) {
  while (!condition()) {
    boost::system::error_code woken;
    co_await timer.async_wait(asio::redirect_error(asio::use_awaitable, woken));
    // A notify and a cancellation wake alike; only the second is seen in the coroutine's state.
    const asio::cancellation_state state = co_await asio::this_coro::cancellation_state;
    if (state.cancelled() != asio::cancellation_type::none) {
      throw boost::system::system_error(asio::error::operation_aborted);
    }
  }
}

void Notifier::notify() { timer.cancel(); }

}  // namespace orvik
