#include "core/sampling/LoadNow.h"

#include <algorithm>
#include <cmath>

#include "core/values/NumberText.h"

namespace orvik {

double LoadNow::update(double load1, double now) {
  // The kernel's interval and the average's length, in seconds.
  constexpr double interval = 5;
  constexpr double length = 60;
  if (previous && load1 == *previous) {
    return pyRound(value, 1);
  }
  double estimate = load1;
  if (previous) {
    const double intervals = std::max(std::round((now - previousAt) / interval), 1.0);
    const double damping = std::exp(-interval * intervals / length);
    estimate = std::max((load1 - *previous * damping) / (1 - damping), 0.0);
  }
  previous = load1;
  previousAt = now;
  value = estimate;
  return pyRound(value, 1);
}

}  // namespace orvik
