#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/sampling/linux/HardwareMonitor.h"

namespace orvik {

/// The processor's temperature, from whichever of its sensors the machine has.
class ProcessorTemperature {
 public:
  explicit ProcessorTemperature(std::string root) : root(std::move(root)) {}

  /// Looks which sensors there are now. Before it, there are none.
  void rescan();
  /// °C: the mean of the cores, or of the nearest thing to them that answers: the whole package,
  /// the chip's control value, a thermal zone of the cores, one of the chip. A sensor that is not
  /// known, fails or is not plausible is left out.
  [[nodiscard]] std::optional<double> read();

 private:
  struct Sensor {
    /// The lowest that answers is taken.
    int rank;
    TextFile file;
  };

  std::string root;
  std::vector<HardwareMonitor> found;
  /// By rank.
  std::vector<Sensor> sensors;
};

}  // namespace orvik
