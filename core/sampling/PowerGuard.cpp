#include "core/sampling/PowerGuard.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace orvik {

namespace {

constexpr std::size_t historyLength = 30;
/// Readings that must precede one that is called a spike.
constexpr std::size_t enoughReadings = 6;
/// No spike is at or below this, in watts.
constexpr double harmless = 40.0;
constexpr double spikeFactor = 4.0;
/// An idle unit's median would make a spike of everything: from here down this counts, in watts.
constexpr double leastMedian = 1.0;

/// Of two in the middle the greater.
double medianOf(const std::deque<double>& readings) {
  std::vector<double> sorted(readings.begin(), readings.end());
  const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
  std::nth_element(sorted.begin(), middle, sorted.end());
  return *middle;
}

bool isSpike(double value, double median) {
  return value > harmless && value > spikeFactor * std::max(median, leastMedian);
}

}  // namespace

double PowerGuard::clean(std::string_view kind, double value) {
  History& history = kinds.try_emplace(std::string(kind)).first->second;
  if (!std::isfinite(value)) {
    return history.last.value_or(0.0);
  }
  const bool hasEnough = history.recent.size() >= enoughReadings;
  history.recent.push_back(value);
  if (history.recent.size() > historyLength) {
    history.recent.pop_front();
  }
  if (hasEnough) {
    const double median = medianOf(history.recent);
    if (isSpike(value, median)) {
      return history.last.value_or(median);
    }
  }
  history.last = value;
  return value;
}

}  // namespace orvik
