#pragma once

#include <spawn.h>
#include <sys/types.h>

#include <chrono>
#include <optional>

#include "core/system/FileDescriptor.h"

/// What starting and watching processes needs beyond POSIX.
namespace orvik::ProcessSystem {

struct Pipe {
  FileDescriptor readingEnd;
  FileDescriptor writingEnd;
};
/// A pipe that no program inherits by accident. Nothing when no descriptor is left.
[[nodiscard]] std::optional<Pipe> openPipe();

/// A descriptor that can be polled and becomes readable when a child of ours has ended. The child
/// must not have been waited for. Owns nothing when there is none to be had.
[[nodiscard]] FileDescriptor watchEnd(pid_t child);

/// Has a program that is about to be started inherit the descriptors 0 to 2 alone. To be called
/// after those have been arranged. Returns whether the system agreed.
[[nodiscard]] bool inheritStandardOnly(posix_spawnattr_t& attributes,
                                       posix_spawn_file_actions_t& actions);

/// The time on a clock that stands still while the machine, and with it every process, sleeps.
[[nodiscard]] std::chrono::nanoseconds timeAwake();

/// The value of LC_CTYPE with which text is UTF-8, whatever the language.
extern const char* const characterTypeUTF8;

}  // namespace orvik::ProcessSystem
