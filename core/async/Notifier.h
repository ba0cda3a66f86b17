#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/steady_timer.hpp>

#include <functional>

namespace orvik {

namespace asio = boost::asio;

/// Lets coroutines of one executor wait until something that they share has changed. Not
/// thread-safe: used by code on that executor only.
class Notifier {
 public:
  explicit Notifier(const asio::any_io_executor& executor);

  /// Resumes once `condition` holds: at once when it does already, otherwise checked again after
  /// every notify(). Cancellable: throws boost::system::system_error with operation_aborted.
  asio::awaitable<void> until(std::function<bool()> condition);

  /// Says that something has changed.
  void notify();

 private:
  /// Never expires: cancelling its waits is what wakes them.
  asio::steady_timer timer;
};

}  // namespace orvik
