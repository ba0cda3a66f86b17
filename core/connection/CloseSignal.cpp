#include "core/connection/CloseSignal.h"

#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

namespace orvik {

void CloseSignal::fire() {
  std::shared_ptr<asio::steady_timer> waiter;
  {
    const std::lock_guard guard(lock);
    fired = true;
    waiter = std::exchange(continuation, nullptr);
  }
  if (waiter) {
    // On its own executor, which may be another thread's.
    asio::post(waiter->get_executor(), [waiter] { waiter->cancel(); });
  }
}

asio::awaitable<void> CloseSignal::wait() {
  const asio::any_io_executor executor = co_await asio::this_coro::executor;
  const auto waiter =
      std::make_shared<asio::steady_timer>(executor, asio::steady_timer::time_point::max());
  {
    const std::lock_guard guard(lock);
    if (fired) {
      co_return;
    }
    continuation = waiter;
  }
  boost::system::error_code woken;
  co_await waiter->async_wait(asio::redirect_error(asio::use_awaitable, woken));
}

asio::awaitable<void> CloseSignal::value(Clock& clock, Clock::Duration limit) {
  using namespace asio::experimental::awaitable_operators;
  co_await (wait() || clock.sleepFor(limit));
  fire();
}

}  // namespace orvik
