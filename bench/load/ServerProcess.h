#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

#include "bench/load/Transport.h"

namespace orvik::load {

/// A server that is measured: one that was started here and ends with this, or one that runs
/// anyhow.
class ServerProcess {
 public:
  /// Starts a program and waits until it says where it listens, as orvik-relay does. Without
  /// "--listen" or "--config" among its arguments it gets free ports of loopback and a folder of
  /// its own for what it keeps. Throws std::runtime_error with what it said when it ends or says
  /// nothing.
  static ServerProcess start(std::vector<std::string> command, bool usesTLS, bool givesPorts);
  /// Measures the process with this number, which listens at `target`; 0 when it is not known.
  ServerProcess(pid_t process, Target target);
  ServerProcess(ServerProcess&& other) noexcept;
  ServerProcess& operator=(ServerProcess&&) = delete;
  ~ServerProcess();

  [[nodiscard]] const Target& target() const { return where; }

  struct Use {
    /// Seconds of processor since its start, of all of its threads.
    double user = 0;
    double system = 0;
    std::uint64_t residentBytes = 0;
  };
  /// From /proc; nothing of a process that is not known. Throws std::runtime_error when the process
  /// has ended.
  [[nodiscard]] Use use() const;

 private:
  pid_t process;
  Target where;
  /// Of what was started here: what it has said, and what it keeps.
  std::filesystem::path folder;
};

}  // namespace orvik::load
