#pragma once

#include <sys/types.h>

#include <vector>

#include "bench/load/Fleet.h"

namespace orvik::load {

/// Several processes, each with a part of the connections: one alone has too few descriptors, and
/// one processor too little time. They end with this.
class Workers {
 public:
  /// `plan` is for all of them together.
  Workers(const FleetPlan& plan, std::size_t processes);
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;
  ~Workers();

  /// Has all of them carry out their share, at the same time, and adds up what they report. Throws
  /// std::runtime_error when one of them has ended.
  [[nodiscard]] Report carryOut(const Command& command);

 private:
  struct Worker {
    pid_t process;
    FileDescriptor channel;
  };
  std::vector<Worker> workers;
};

}  // namespace orvik::load
