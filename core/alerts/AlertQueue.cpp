#include "core/alerts/AlertQueue.h"

#include <utility>

namespace orvik {

namespace {
constexpr std::size_t capacity = 20;
constexpr double longestAgeSeconds = 3600;
}  // namespace

void AlertQueue::append(Alert alert) {
  pending.push_back(std::move(alert));
  if (pending.size() > capacity) {
    pending.pop_front();
  }
}

std::vector<Alert> AlertQueue::due(std::int64_t nowMs) {
  std::erase_if(pending, [nowMs](const Alert& alert) {
    // As doubles: the difference of two hostile times may not fit an integer.
    const double age = (static_cast<double>(nowMs) - static_cast<double>(alert.epochMs)) / 1000;
    return age > longestAgeSeconds;
  });
  return {pending.begin(), pending.end()};
}

void AlertQueue::sent(const Alert& alert) {
  if (!pending.empty() && pending.front() == alert) {
    pending.pop_front();
  }
}

}  // namespace orvik
