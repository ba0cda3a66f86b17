#pragma once

#include <optional>

namespace orvik {

/// Recovers the present load from the kernel's 1-minute average, which follows it with a delay:
/// the kernel damps it with e^(-5/60) every 5 seconds.
class LoadNow {
 public:
  /// The estimate for this reading of the average, taken at `now` seconds since 1970; 1 decimal,
  /// at least 0. While the average stands still, so does the estimate.
  [[nodiscard]] double update(double load1, double now);

 private:
  std::optional<double> previous;
  double previousAt = 0;
  double value = 0;
};

}  // namespace orvik
