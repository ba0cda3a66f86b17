#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>

#include <memory>

#include "core/async/Notifier.h"

namespace orvik {

namespace asio = boost::asio;

/// How a coroutine hears from a thread that the work it waits for is done: a word that is given
/// once, or never. The coroutine keeps the Announcement in its frame, the thread an Announcer.
///
/// The Announcement belongs to the coroutine's executor, which runs one handler at a time, as a
/// strand does: it is made, awaited and destroyed there, or destroyed with everything else that the
/// io_context holds by the io_context's destructor.
class Announcement {
  struct Connection;

 public:
  /// The thread's part. May be copied, and outlive the Announcement, its executor and its
  /// io_context: it holds nothing of them.
  class Announcer {
   public:
    /// Resumes the coroutine on its executor, where everything that this thread has written so far
    /// can be read; does nothing when the Announcement is gone. On any thread, also while the
    /// io_context is being destroyed. Waits for no handler to run.
    void announce() const;

   private:
    friend class Announcement;
    explicit Announcer(std::shared_ptr<Connection> connection);
    std::shared_ptr<Connection> connection;
  };

  explicit Announcement(const asio::any_io_executor& executor);
  Announcement(const Announcement&) = delete;
  Announcement& operator=(const Announcement&) = delete;
  /// Nobody is told any more. What the thread does meanwhile goes on: stopping it, if that matters,
  /// is for the coroutine to see to.
  ~Announcement();

  [[nodiscard]] Announcer announcer() const;

  /// Resumes once it is announced: at once when the word has already come. Cancellable: throws
  /// boost::system::system_error with operation_aborted, and may be awaited again.
  asio::awaitable<void> heard();

 private:
  const asio::any_io_executor executor;
  const std::shared_ptr<Connection> connection;
  Notifier changed;
  bool isHeard = false;
};

}  // namespace orvik
