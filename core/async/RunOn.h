#pragma once

#include <boost/asio/associated_cancellation_slot.hpp>
#include <boost/asio/async_result.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <exception>
#include <memory>
#include <type_traits>
#include <utility>

namespace orvik {

namespace asio = boost::asio;

/// Runs an operation on another executor and resumes on the caller's. Cancellable: the operation is
/// cancelled on its own executor, and the caller resumes when it has ended.
///
/// co_spawn alone does that too, but in Boost 1.81 a cancellation that reaches the other executor
/// after the operation's end uses freed memory. Here each one on its way owns what it uses.
template <typename Executor, typename Result>
asio::awaitable<Result> runOn(const Executor& executor, asio::awaitable<Result> operation) {
  const auto start = [executor](auto handler, asio::awaitable<Result> work) {
    asio::cancellation_slot callers = asio::get_associated_cancellation_slot(handler);
    if (!callers.is_connected()) {
      asio::co_spawn(executor, std::move(work), std::move(handler));
      return;
    }
    const auto cancellation = std::make_shared<asio::cancellation_signal>();
    callers.assign([executor, cancellation](asio::cancellation_type type) {
      asio::post(executor, [cancellation, type] { cancellation->emit(type); });
    });
    auto ended = asio::bind_cancellation_slot(cancellation->slot(), std::move(handler));
    asio::co_spawn(executor, std::move(work), std::move(ended));
  };
  if constexpr (std::is_void_v<Result>) {
    return asio::async_initiate<const asio::use_awaitable_t<>, void(std::exception_ptr)>(
        start, asio::use_awaitable, std::move(operation));
  } else {
    return asio::async_initiate<const asio::use_awaitable_t<>, void(std::exception_ptr, Result)>(
        start, asio::use_awaitable, std::move(operation));
  }
}

}  // namespace orvik
