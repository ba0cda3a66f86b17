#include "relay/push/PushQueue.h"

#include <algorithm>
#include <utility>

namespace orvik::relay {

namespace {

/// Whether a push service would have the newer of them take the other's place.
bool areAlike(const Push& one, const Push& other) {
  return !one.alert->topic.empty() && one.alert->topic == other.alert->topic &&
         one.alert->mac == other.alert->mac;
}

}  // namespace

bool PushQueue::add(Push push) {
  const auto place = origins.try_emplace(push.origin).first;
  Origin& origin = place->second;
  Line& line = origin.lines.try_emplace(push.to.endpoint, Line{{}, push.arrived}).first->second;
  std::erase_if(line.waiting, [&](const Push& older) {
    const bool isReplaced = areAlike(older, push);
    if (isReplaced) {
      uncount(origin, older);
    }
    return isReplaced;
  });
  const auto mac = macs.find(push.alert->mac);
  const bool hasRoom = all < limits.allPushesWaiting && origin.count < limits.pushesWaiting &&
                       (mac == macs.end() || mac->second < limits.pushesWaitingPerMac);
  const std::string endpoint = push.to.endpoint;
  if (hasRoom) {
    ++macs[push.alert->mac];
    ++origin.count;
    ++all;
    line.waiting.push_back(std::move(push));
    if (!line.isUnderWay) {
      origin.ready.emplace(line.due, endpoint);
    }
  }
  removeIfEmpty(place, endpoint);
  return hasRoom;
}

std::optional<Push> PushQueue::next(Instant now) {
  auto origin = origins.upper_bound(turn);
  for (std::size_t i = 0; i < origins.size(); ++i, ++origin) {
    origin = origin == origins.end() ? origins.begin() : origin;
    if (!hasTurn(origin->second) || origin->second.ready.begin()->first > now) {
      continue;
    }
    auto ready = origin->second.ready.extract(origin->second.ready.begin());
    Line& line = origin->second.lines.at(ready.value().second);
    Push push = std::move(line.waiting.front());
    line.waiting.pop_front();
    line.isUnderWay = true;
    ++origin->second.underWay;
    ++underWay;
    turn = origin->first;
    return push;
  }
  return std::nullopt;
}

void PushQueue::ended(const Push& push, Instant now) {
  const auto origin = end(push, now);
  uncount(origin->second, push);
  removeIfEmpty(origin, push.to.endpoint);
}

void PushQueue::again(Push push, Instant due) {
  const auto origin = end(push, due);
  Line& line = origin->second.lines.at(push.to.endpoint);
  if (std::ranges::any_of(line.waiting, [&](const Push& newer) { return areAlike(newer, push); })) {
    uncount(origin->second, push);
  } else {
    origin->second.ready.emplace(due, push.to.endpoint);
    line.waiting.push_front(std::move(push));
  }
}

std::optional<Instant> PushQueue::nextDue() const {
  std::optional<Instant> next;
  for (const auto& [name, origin] : origins) {
    if (hasTurn(origin)) {
      const Instant due = origin.ready.begin()->first;
      next = next ? std::min(*next, due) : due;
    }
  }
  return next;
}

bool PushQueue::hasTurn(const Origin& origin) const {
  return !origin.ready.empty() && origin.underWay < limits.pushesUnderWay &&
         underWay < limits.allPushesUnderWay;
}

PushQueue::Origins::iterator PushQueue::end(const Push& push, Instant due) {
  const auto place = origins.find(push.origin);
  Origin& origin = place->second;
  Line& line = origin.lines.at(push.to.endpoint);
  line.isUnderWay = false;
  line.due = due;
  if (!line.waiting.empty()) {
    origin.ready.emplace(due, push.to.endpoint);
  }
  --origin.underWay;
  --underWay;
  return place;
}

void PushQueue::uncount(Origin& origin, const Push& push) {
  --origin.count;
  --all;
  const auto mac = macs.find(push.alert->mac);
  if (--mac->second == 0) {
    macs.erase(mac);
  }
}

void PushQueue::removeIfEmpty(Origins::iterator origin, const std::string& endpoint) {
  const auto line = origin->second.lines.find(endpoint);
  if (line->second.waiting.empty() && !line->second.isUnderWay) {
    origin->second.ready.erase({line->second.due, endpoint});
    origin->second.lines.erase(line);
  }
  if (origin->second.lines.empty()) {
    origins.erase(origin);
  }
}

}  // namespace orvik::relay
