#pragma once

#include <boost/asio/awaitable.hpp>

#include <memory>

namespace orvik {

namespace asio = boost::asio;

/// Something that happens once, or never: how a thread wakes a coroutine. Copies are the same
/// event; a thread keeps one of its own, and may so outlive the coroutine that waits, its executor
/// and its io_context.
class OneShotEvent {
 public:
  OneShotEvent();

  /// Resumes whoever waits, on its own executor, where everything that this thread has written so
  /// far can be read. On any thread, also while the waiter's io_context is being destroyed;
  /// repeating it is harmless. Waits for no handler to run.
  void set() const noexcept;

  /// Resumes once the event is set: at once when it is already. One coroutine at a time, on an
  /// executor that runs one handler at a time, as a strand does. Cancellable: throws
  /// boost::system::system_error with operation_aborted, and may be awaited again.
  asio::awaitable<void> wait() const;

 private:
  struct Waiter;
  struct State;
  std::shared_ptr<State> state;
};

}  // namespace orvik
