#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "core/system/FileDescriptor.h"

namespace orvik {

/// A program that was started with its standard output on a pipe, and that is gone when this is
/// gone: with whatever else it started in its process group, and without leaving a zombie.
class ChildProcess {
  struct Started {
    pid_t process;
    FileDescriptor output;
  };

 public:
  /// Starts the executable at `path` in a process group of its own, so that a signal reaches
  /// whatever it starts too. Its standard input and error are the null device; no other descriptor,
  /// no blocked and no ignored signal is inherited. Its environment is ours without a language:
  /// numbers come with a decimal point and messages in English, wherever our user lives, but text
  /// is UTF-8, since names of programs and devices would come out mangled otherwise.
  /// Null when it cannot be started.
  [[nodiscard]] static std::unique_ptr<ChildProcess> start(
      const std::string& path, const std::vector<std::string>& arguments);
  explicit ChildProcess(Started started);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  /// Kills the process group unless `collect` was called. Returns at once, but for a process that
  /// the system cannot stop at the moment: after one second that is left to die on its own.
  ~ChildProcess();

  /// The reading end of the pipe. May be taken away.
  FileDescriptor output;
  /// Becomes readable when the process has ended, which what it started may outlive.
  [[nodiscard]] const FileDescriptor& ended() const { return end; }

  /// Asks the whole process group to end.
  void terminate() const;
  /// Takes note that the process has ended by itself, as `ended` has told: waits for it otherwise.
  /// What it left running goes on.
  void collect();

 private:
  void signal(int number) const;

  /// 0 once it was waited for. Until then the number, and the process group's, belong to nobody
  /// else, even after its end.
  pid_t process;
  FileDescriptor end;
};

}  // namespace orvik
