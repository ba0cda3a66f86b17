#pragma once

#include <array>

namespace orvik {

/// How busy the machine is, and for how long it has been up.
struct MachineLoad {
  /// Over 1, 5 and 15 minutes; 0 where the system tells nothing.
  std::array<double, 3> loadAverages{};
  /// Seconds.
  double uptime = 0;
};

/// Reads both from the system. May be called from any thread.
[[nodiscard]] MachineLoad readMachineLoad();

}  // namespace orvik
