#include "core/system/ProcessSystem.h"

#include <fcntl.h>
#include <sys/event.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace orvik::ProcessSystem {

namespace {

bool closeOnExec(const FileDescriptor& descriptor) {
  return fcntl(descriptor.get(), F_SETFD, FD_CLOEXEC) == 0;
}

/// A queue of the kernel on which the ends of children are heard, by a thread of its own. Handing
/// out the queue itself would be simpler, but whoever waits for it together with other descriptors
/// is told at once that it can be read.
class Ends {
 public:
  /// Throws std::system_error when there is no queue or no thread to be had.
  static std::shared_ptr<Ends> start() {
    auto ends = std::make_shared<Ends>();
    if (!ends->queue || !closeOnExec(ends->queue)) {
      throw std::system_error(errno, std::generic_category());
    }
    std::thread([ends] { ends->hear(); }).detach();
    return ends;
  }

  /// Has the descriptor closed when the child has ended; at once when it has already. False when
  /// the end cannot be noticed.
  [[nodiscard]] bool closeAtEnd(FileDescriptor descriptor, pid_t child) {
    struct kevent end {};
    end.ident = static_cast<std::uintptr_t>(child);
    end.filter = EVFILT_PROC;
    end.flags = EV_ADD | EV_ONESHOT;
    end.fflags = NOTE_EXIT;
    const std::lock_guard guard(lock);
    if (kevent(queue.get(), &end, 1, nullptr, 0, nullptr) != 0) {
      // No such process: a child that has ended but was not waited for cannot be watched any more.
      return errno == ESRCH;
    }
    descriptors.insert_or_assign(child, std::move(descriptor));
    return true;
  }

 private:
  void hear() {
    for (;;) {
      struct kevent end {};
      const int count = kevent(queue.get(), nullptr, 0, &end, 1, nullptr);
      if (count == 1) {
        const std::lock_guard guard(lock);
        descriptors.erase(static_cast<pid_t>(end.ident));
      } else if (count < 0 && errno != EINTR) {
        return;
      }
    }
  }

  const FileDescriptor queue{kqueue()};
  std::mutex lock;
  std::map<pid_t, FileDescriptor> descriptors;
};

}  // namespace

const char* const characterTypeUTF8 = "UTF-8";

std::optional<Pipe> openPipe() {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) {
    return std::nullopt;
  }
  Pipe result{FileDescriptor(ends[0]), FileDescriptor(ends[1])};
  // A program that another thread starts at this very moment could inherit them, unless it is
  // started as ours are, with inheritStandardOnly.
  if (!closeOnExec(result.readingEnd) || !closeOnExec(result.writingEnd)) {
    return std::nullopt;
  }
  return result;
}

FileDescriptor watchEnd(pid_t child) {
  try {
    static const std::shared_ptr<Ends> ends = Ends::start();
    std::optional<Pipe> pipe = openPipe();
    // The end of a pipe that nobody holds the other end of can be read.
    if (pipe && ends->closeAtEnd(std::move(pipe->writingEnd), child)) {
      return std::move(pipe->readingEnd);
    }
  } catch (const std::system_error&) {
    // Tried again with the next child.
  }
  return {};
}

bool inheritStandardOnly(posix_spawnattr_t& attributes, posix_spawn_file_actions_t& /*actions*/) {
  short flags = 0;
  return posix_spawnattr_getflags(&attributes, &flags) == 0 &&
         posix_spawnattr_setflags(&attributes,
                                  static_cast<short>(flags | POSIX_SPAWN_CLOEXEC_DEFAULT)) == 0;
}

std::chrono::nanoseconds timeAwake() {
  // Not std::chrono's steady clock, which goes on during sleep here.
  return std::chrono::nanoseconds(
      static_cast<std::int64_t>(clock_gettime_nsec_np(CLOCK_UPTIME_RAW)));
}

}  // namespace orvik::ProcessSystem
