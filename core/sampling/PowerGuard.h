#pragma once

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace orvik {

/// Suppresses implausible power readings: a sensor that glitches shows hundreds of watts once.
class PowerGuard {
 public:
  /// The value to report for a new reading of this kind ("all", "cpu", "gpu", "sys"), in watts.
  /// After at least 6 readings, one above 40 W and above four times the median of the last 30
  /// (above 4 times 1 W where the median is at most 1 W) is replaced by the last good reading. So
  /// is what is not finite, by 0 when there has been no good one, and it is forgotten.
  [[nodiscard]] double clean(std::string_view kind, double value);

 private:
  struct History {
    std::deque<double> recent;
    std::optional<double> last;
  };
  std::map<std::string, History, std::less<>> kinds;
};

}  // namespace orvik
