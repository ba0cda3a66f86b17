#include "core/platform/ProcessSystem.h"

#include <fcntl.h>
#include <sys/event.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace orvik::ProcessSystem {

namespace {

bool closeOnExec(const FileDescriptor& descriptor) {
  return fcntl(descriptor.get(), F_SETFD, FD_CLOEXEC) == 0;
}

/// A descriptor that is readable from the start: the end of a pipe that nobody writes to.
FileDescriptor alreadyReadable() {
  std::optional<Pipe> pipe = openPipe();
  return pipe ? std::move(pipe->readingEnd) : FileDescriptor();
}

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
  FileDescriptor queue(kqueue());
  if (!queue || !closeOnExec(queue)) {
    return {};
  }
  struct kevent end {};
  end.ident = static_cast<uintptr_t>(child);
  end.filter = EVFILT_PROC;
  end.flags = EV_ADD;
  end.fflags = NOTE_EXIT;
  if (kevent(queue.get(), &end, 1, nullptr, 0, nullptr) == 0) {
    return queue;
  }
  // A child that has ended but was not waited for cannot be watched any more.
  return errno == ESRCH ? alreadyReadable() : FileDescriptor();
}

bool inheritStandardOnly(posix_spawnattr_t& attributes, posix_spawn_file_actions_t& /*actions*/) {
  short flags = 0;
  return posix_spawnattr_getflags(&attributes, &flags) == 0 &&
         posix_spawnattr_setflags(&attributes,
                                  static_cast<short>(flags | POSIX_SPAWN_CLOEXEC_DEFAULT)) == 0;
}

}  // namespace orvik::ProcessSystem
