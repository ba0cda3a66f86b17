#include "core/sampling/mac/Shell.h"

#include <boost/asio/post.hpp>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "core/async/OneShotEvent.h"
#include "core/system/ChildProcess.h"
#include "core/system/ProcessSystem.h"
#include "core/values/Text.h"

namespace orvik {

namespace {

constexpr std::chrono::milliseconds terminationWait{500};
constexpr std::size_t chunkSize = std::size_t{64} << 10;

/// How long to wait for a command, on a clock that stands still with the command while the machine
/// sleeps.
class Deadline {
 public:
  /// `interruption` is polled too and ends the wait when it hangs up; -1 for none.
  Deadline(CommandRunner::Seconds timeout, int interruption)
      : end(ProcessSystem::timeAwake() + bounded(timeout)), interruption(interruption) {}

  /// Whether the descriptor can be read, or has ended, before the time is over.
  [[nodiscard]] bool waitFor(const FileDescriptor& descriptor) const {
    for (;;) {
      const Time remaining = end - ProcessSystem::timeAwake();
      // Asked each time: a command that never stops writing is always ready.
      if (remaining <= Time::zero()) {
        return false;
      }
      std::array<pollfd, 2> watched{pollfd{descriptor.get(), POLLIN, 0},
                                    pollfd{interruption, POLLIN, 0}};
      const auto limit = std::chrono::ceil<std::chrono::milliseconds>(remaining);
      const int ready = poll(watched.data(), watched.size(), static_cast<int>(limit.count()));
      if (ready < 0 && errno != EINTR) {
        return false;
      }
      if (ready > 0) {
        return watched[1].revents == 0;
      }
    }
  }

 private:
  using Time = std::chrono::nanoseconds;

  static Time bounded(CommandRunner::Seconds timeout) {
    constexpr CommandRunner::Seconds longest = std::chrono::hours(24);
    // False for what is not a number.
    return timeout > CommandRunner::Seconds::zero()
               ? std::chrono::duration_cast<Time>(std::min(timeout, longest))
               : Time::zero();
  }

  Time end;
  int interruption;
};

/// Everything that comes out of the pipe; nothing when the time or the room ends first.
std::optional<std::string> readToEnd(const FileDescriptor& pipe, const Deadline& deadline) {
  std::string bytes;
  std::array<char, chunkSize> chunk;
  while (deadline.waitFor(pipe)) {
    const ssize_t count = read(pipe.get(), chunk.data(), chunk.size());
    if (count == 0) {
      return bytes;
    }
    if (count > 0) {
      bytes.append(chunk.data(), static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      return std::nullopt;
    }
    if (bytes.size() > Shell::maximumOutput) {
      return std::nullopt;
    }
  }
  return std::nullopt;
}

std::string runInterruptible(const std::string& path, const std::vector<std::string>& arguments,
                             CommandRunner::Seconds timeout, int interruption) {
  const std::unique_ptr<ChildProcess> child = ChildProcess::start(path, arguments);
  if (!child) {
    return "";
  }
  const Deadline deadline(timeout, interruption);
  std::optional<std::string> bytes = readToEnd(child->output, deadline);
  if (bytes && deadline.waitFor(child->ended())) {
    child->collect();
    return isValidUTF8(*bytes) ? std::move(*bytes) : repairedUTF8(*bytes);
  }
  child->terminate();
  static_cast<void>(Deadline(terminationWait, -1).waitFor(child->ended()));
  return "";
}

/// Says to the thread that runs a command that nobody waits for it any more.
class Interruption {
 public:
  /// A descriptor that hangs up at `happen`. Owns nothing when that has been, or when there is no
  /// descriptor to be had.
  FileDescriptor expect() {
    const std::lock_guard guard(lock);
    std::optional<ProcessSystem::Pipe> pipe =
        hasHappened ? std::nullopt : ProcessSystem::openPipe();
    if (!pipe) {
      return {};
    }
    otherEnd = std::move(pipe->writingEnd);
    return std::move(pipe->readingEnd);
  }
  void happen() {
    const std::lock_guard guard(lock);
    hasHappened = true;
    otherEnd = FileDescriptor();
  }

 private:
  std::mutex lock;
  bool hasHappened = false;
  FileDescriptor otherEnd;
};

/// A command between the coroutine that waits for it and the thread that runs it.
struct Call {
  std::string path;
  std::vector<std::string> arguments;
  CommandRunner::Seconds timeout;
  /// The thread's until the end is told.
  std::string text;
  Interruption interruption;

  /// On a thread of the pool.
  void run() {
    try {
      if (const FileDescriptor interrupted = interruption.expect()) {
        text = runInterruptible(path, arguments, timeout, interrupted.get());
      }
    } catch (const std::exception&) {
      // No memory: the command has failed like any other.
    }
    // The descriptor is not kept until the caller resumes.
    interruption.happen();
  }
};

/// Ends the command however the coroutine ends: cancelled, or destroyed with its executor.
struct Caller {
  std::shared_ptr<Call> call;
  explicit Caller(std::shared_ptr<Call> call) : call(std::move(call)) {}
  Caller(const Caller&) = delete;
  Caller& operator=(const Caller&) = delete;
  ~Caller() { call->interruption.happen(); }
};

}  // namespace

Shell::Shell() : pool(mostAtOnce) {}

Shell::~Shell() {
  pool.stop();
  pool.join();
}

asio::awaitable<std::string> Shell::run(std::string path, std::vector<std::string> arguments,
                                        Seconds timeout) {
  const OneShotEvent ended;
  const auto call = std::make_shared<Call>();
  call->path = std::move(path);
  call->arguments = std::move(arguments);
  call->timeout = timeout;
  const Caller caller(call);
  asio::post(pool, [call, ended] {
    call->run();
    ended.set();
  });
  co_await ended.wait();
  co_return std::move(call->text);
}

std::string Shell::runBlocking(const std::string& path, const std::vector<std::string>& arguments,
                               Seconds timeout) {
  return runInterruptible(path, arguments, timeout, -1);
}

}  // namespace orvik
