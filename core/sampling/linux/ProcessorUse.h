#pragma once

#include <optional>

#include "core/sampling/linux/KernelText.h"

namespace orvik {

/// How busy the processor was between two readings of what it has spent its time with.
class ProcessorUse {
 public:
  /// Per cent (0 to 100) of the time that was counted since the reading before; waiting for a disk
  /// is not use. Nothing at the first reading; the last answer when nothing was counted since.
  /// A counter that has gone backwards, as those of idle time do when a CPU goes off-line, counts
  /// as one that stood still.
  [[nodiscard]] std::optional<double> update(const KernelText::ProcessorTimes& now);

 private:
  std::optional<KernelText::ProcessorTimes> previous;
  std::optional<double> last;
};

}  // namespace orvik
