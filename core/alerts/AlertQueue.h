#pragma once

#include <cstdint>
#include <deque>
#include <vector>

#include "core/alerts/Alert.h"

namespace orvik {

/// Alerts that have been raised and not yet delivered, oldest first. Delivered strictly in order.
class AlertQueue {
 public:
  /// Adds an alert; only the newest 20 are kept.
  void append(Alert alert);

  /// Drops what is more than one hour old and returns the rest, oldest first.
  [[nodiscard]] std::vector<Alert> due(std::int64_t nowMs);

  /// Removes the oldest alert if it equals this one, and nothing otherwise.
  void sent(const Alert& alert);

 private:
  std::deque<Alert> pending;
};

}  // namespace orvik
