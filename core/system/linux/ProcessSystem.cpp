#include "core/system/ProcessSystem.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>

namespace orvik::ProcessSystem {

const char* const characterTypeUTF8 = "C.UTF-8";

std::optional<Pipe> openPipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    return std::nullopt;
  }
  return Pipe{FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

FileDescriptor watchEnd(pid_t child) {
  // By number: the C library's own function is younger than the oldest one that we build on.
  return FileDescriptor(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
}

bool inheritStandardOnly(posix_spawnattr_t& /*attributes*/, posix_spawn_file_actions_t& actions) {
  return posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1) == 0;
}

std::chrono::nanoseconds timeAwake() { return std::chrono::steady_clock::now().time_since_epoch(); }

}  // namespace orvik::ProcessSystem
