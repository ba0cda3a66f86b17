#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>

#include <functional>
#include <thread>

namespace orvik {

namespace asio = boost::asio;

/// The one thread on which everything of the core runs. Made after the QCoreApplication, to which
/// the core's news go, and before all that uses its executor.
class CoreThread {
 public:
  CoreThread();
  CoreThread(const CoreThread&) = delete;
  CoreThread& operator=(const CoreThread&) = delete;
  /// Ends the thread after what it is just doing. What waits is dropped, whatever it waits for.
  ~CoreThread();

  [[nodiscard]] asio::any_io_executor executor() { return context.get_executor(); }

 private:
  asio::io_context context{1};
  asio::executor_work_guard<asio::io_context::executor_type> work{context.get_executor()};
  std::thread thread;
};

/// Calls `action` on the main thread, from its event loop, after what was handed over before it.
/// May be called from any thread while the QCoreApplication lives; what is still waiting when that
/// ends is dropped.
void onMainThread(std::function<void()> action);

}  // namespace orvik
