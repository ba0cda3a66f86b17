#include "relay/push/PushQueue.h"

#include <algorithm>
#include <utility>

namespace orvik::relay {

bool PushQueue::add(Push push, Instant due) {
  Service& service = services.at(push.service);
  if (service.waiting.size() + service.underWay >= limits.pushesWaiting) {
    return false;
  }
  service.waiting.emplace(due, std::move(push));
  return true;
}

std::optional<Push> PushQueue::next(Instant now) {
  for (std::size_t i = 0; i < services.size(); ++i) {
    Service& service = services[turn];
    turn = (turn + 1) % services.size();
    const auto first = service.waiting.begin();
    if (first != service.waiting.end() && first->first <= now &&
        service.underWay < limits.pushesUnderWay) {
      Push push = std::move(first->second);
      service.waiting.erase(first);
      ++service.underWay;
      return push;
    }
  }
  return std::nullopt;
}

std::optional<Instant> PushQueue::nextDue() const {
  std::optional<Instant> next;
  for (const Service& service : services) {
    if (!service.waiting.empty() && service.underWay < limits.pushesUnderWay) {
      const Instant due = service.waiting.begin()->first;
      next = next ? std::min(*next, due) : due;
    }
  }
  return next;
}

std::size_t PushQueue::size() const {
  std::size_t all = 0;
  for (const Service& service : services) {
    all += service.waiting.size() + service.underWay;
  }
  return all;
}

}  // namespace orvik::relay
