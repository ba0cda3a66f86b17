#include "core/alerts/AlertQueue.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace orvik {

namespace {
constexpr std::size_t capacity = 20;
constexpr double longestAgeSeconds = 3600;
}  // namespace

void AlertQueue::append(Alert alert) {
  pending.push_back({std::move(alert)});
  if (pending.size() > capacity) {
    pending.pop_front();
  }
}

std::vector<Alert> AlertQueue::due(std::int64_t nowMs) {
  dropOld(nowMs);
  std::vector<Alert> alerts;
  std::ranges::transform(pending, std::back_inserter(alerts), &Entry::alert);
  return alerts;
}

void AlertQueue::dropOld(std::int64_t nowMs) {
  std::erase_if(pending, [nowMs](const Entry& entry) {
    // As doubles: the difference of two hostile times may not fit an integer.
    const double age =
        (static_cast<double>(nowMs) - static_cast<double>(entry.alert.epochMs)) / 1000;
    return age > longestAgeSeconds;
  });
}

void AlertQueue::sent(const Alert& alert) {
  if (!pending.empty() && pending.front().alert == alert) {
    pending.pop_front();
  }
}

void AlertQueue::connectionBegan() {
  sentCount = 0;
  for (Entry& entry : pending) {
    entry.place = 0;
  }
}

AlertQueue::Entry* AlertQueue::unsent(std::int64_t nowMs) {
  dropOld(nowMs);
  const auto entry = std::ranges::find(pending, 0U, &Entry::place);
  return entry == pending.end() ? nullptr : &*entry;
}

void AlertQueue::safe(std::uint64_t count) {
  std::erase_if(pending,
                [count](const Entry& entry) { return entry.place > 0 && entry.place <= count; });
}

}  // namespace orvik
