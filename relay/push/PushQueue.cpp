#include "relay/push/PushQueue.h"

#include <algorithm>
#include <utility>

#include "relay/push/PushVerdict.h"

namespace orvik::relay {

namespace {

/// Whether a push service would have the newer of them take the other's place.
bool areAlike(const Push& one, const Push& other) {
  return !one.alert->topic.empty() && one.alert->topic == other.alert->topic &&
         one.alert->mac == other.alert->mac;
}

}  // namespace

std::size_t Push::memory() const {
  // Its endpoint names its line too, and its line's turn; with what lists and the allocator add.
  constexpr std::size_t around = 512;
  return sizeof *this + around + 3 * to.endpoint.size() + alert->envelope->size();
}

bool PushQueue::add(Push push) {
  const auto place = origins.try_emplace(push.origin).first;
  Origin& origin = place->second;
  if (origin.lines.empty()) {
    origin.isListed = push.isListed;
    origin.isProven = proven.contains(push.origin);
  }
  Line& line = origin.lines.try_emplace(push.to.endpoint, Line{{}, push.arrived}).first->second;
  drop(origin, line, [&push](const Push& older) { return areAlike(older, push); });
  const auto mac = macs.find(push.alert->mac);
  const bool hasRoom = all.waiting < limits.allPushesWaiting &&
                       origin.share.waiting < limits.pushesWaiting &&
                       (!origin.mayBeMadeUp() || unproven.waiting < limits.unprovenPushesWaiting) &&
                       (mac == macs.end() || mac->second < limits.pushesWaitingPerMac);
  const std::string endpoint = push.to.endpoint;
  if (hasRoom) {
    ++macs[push.alert->mac];
    enter(origin, &Share::waiting);
    bytes += push.memory();
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
    if (turnOf(origin->second).value_or(Instant::max()) > now) {
      continue;
    }
    auto ready = origin->second.ready.extract(origin->second.ready.begin());
    Line& line = origin->second.lines.at(ready.value().second);
    Push push = std::move(line.waiting.front());
    push.began = now;
    line.waiting.pop_front();
    line.isUnderWay = true;
    line.isForgotten = false;
    line.mac = push.alert->mac;
    enter(origin->second, &Share::underWay);
    turn = origin->first;
    return push;
  }
  return std::nullopt;
}

void PushQueue::answered(const Push& push, Instant now, Clock::Duration pause) {
  const auto origin = origins.find(push.origin);
  origin->second.answered = now;
  origin->second.silences = 0;
  origin->second.notBefore = now + pause;
  setProven(origin, true);
}

std::size_t PushQueue::unanswered(const Push& push, Instant now) {
  const auto place = origins.find(push.origin);
  Origin& origin = place->second;
  // Others that began as early say no more than the first of them has said.
  if (origin.isListed || origin.answered >= push.began ||
      (origin.silences > 0 && origin.notBefore > push.began)) {
    return 0;
  }
  setProven(place, false);
  origin.silences = std::min(origin.silences + 1, limits.pushAttempts);
  origin.notBefore = now + PushVerdict::waitAfter(origin.silences, limits);
  std::size_t dropped = 0;
  if (origin.silences == limits.pushAttempts) {
    // What is under way keeps the line and the origin.
    for (auto line = origin.lines.begin(); line != origin.lines.end();) {
      dropped += drop(origin, line->second, [](const Push&) { return true; });
      origin.ready.erase({line->second.due, line->first});
      line = line->second.isUnderWay ? std::next(line) : origin.lines.erase(line);
    }
  }
  return dropped;
}

void PushQueue::ended(const Push& push, Instant now) {
  const auto origin = end(push, now);
  uncount(origin->second, push);
  removeIfEmpty(origin, push.to.endpoint);
}

void PushQueue::again(Push push, Instant due) {
  const auto origin = end(push, due);
  Line& line = origin->second.lines.at(push.to.endpoint);
  const bool isReplaced =
      std::ranges::any_of(line.waiting, [&](const Push& newer) { return areAlike(newer, push); });
  if (isReplaced || line.isForgotten) {
    uncount(origin->second, push);
    removeIfEmpty(origin, push.to.endpoint);
  } else {
    origin->second.ready.emplace(due, push.to.endpoint);
    line.waiting.push_front(std::move(push));
  }
}

void PushQueue::forget(const Identifier& mac, const std::string& origin,
                       const std::string& endpoint) {
  const auto place = origins.find(origin);
  if (place == origins.end()) {
    return;
  }
  const auto line = place->second.lines.find(endpoint);
  if (line == place->second.lines.end()) {
    return;
  }
  drop(place->second, line->second, [&mac](const Push& push) { return push.alert->mac == mac; });
  line->second.isForgotten |= line->second.isUnderWay && line->second.mac == mac;
  if (line->second.waiting.empty()) {
    place->second.ready.erase({line->second.due, endpoint});
  }
  removeIfEmpty(place, endpoint);
}

std::optional<Instant> PushQueue::nextDue() const {
  std::optional<Instant> next;
  for (const auto& [name, origin] : origins) {
    if (const auto due = turnOf(origin)) {
      next = std::min(next.value_or(Instant::max()), *due);
    }
  }
  return next;
}

std::optional<Instant> PushQueue::turnOf(const Origin& origin) const {
  const bool isFree = all.underWay < limits.allPushesUnderWay &&
                      (origin.mayBeMadeUp() ? origin.share.underWay == 0 &&
                                                  unproven.underWay < limits.unprovenPushesUnderWay
                                            : origin.share.underWay < limits.pushesUnderWay);
  return origin.ready.empty() || !isFree
             ? std::nullopt
             : std::optional(std::max(origin.ready.begin()->first, origin.notBefore));
}

void PushQueue::setProven(Origins::iterator origin, bool isProven) {
  Origin& which = origin->second;
  const bool before = which.mayBeMadeUp();
  which.isProven = isProven;
  if (which.mayBeMadeUp() && !before) {
    unproven.waiting += which.share.waiting;
    unproven.underWay += which.share.underWay;
  } else if (before && !which.mayBeMadeUp()) {
    unproven.waiting -= which.share.waiting;
    unproven.underWay -= which.share.underWay;
  }
  if (!isProven) {
    proven.erase(origin->first);
  } else if (!which.isListed && proven.size() < limits.provenOrigins) {
    proven.insert(origin->first);
  }
}

void PushQueue::enter(Origin& origin, std::size_t Share::*what) {
  ++(origin.share.*what);
  ++(all.*what);
  unproven.*what += origin.mayBeMadeUp() ? 1U : 0U;
}

void PushQueue::leave(Origin& origin, std::size_t Share::*what) {
  --(origin.share.*what);
  --(all.*what);
  unproven.*what -= origin.mayBeMadeUp() ? 1U : 0U;
}

template <typename Condition>
std::size_t PushQueue::drop(Origin& origin, Line& line, Condition condition) {
  return std::erase_if(line.waiting, [&](const Push& push) {
    const bool isDropped = condition(push);
    if (isDropped) {
      uncount(origin, push);
    }
    return isDropped;
  });
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
  leave(origin, &Share::underWay);
  return place;
}

void PushQueue::uncount(Origin& origin, const Push& push) {
  leave(origin, &Share::waiting);
  bytes -= push.memory();
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
