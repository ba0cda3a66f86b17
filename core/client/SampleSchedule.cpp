#include "core/client/SampleSchedule.h"

#include <algorithm>

namespace orvik {

namespace {

constexpr std::chrono::seconds activeInterval{2};
constexpr std::chrono::seconds idleInterval{30};
constexpr std::chrono::seconds macInfoInterval{600};

Clock::Duration interval(const Presence& presence) {
  return presence.active >= 1 ? activeInterval : idleInterval;
}

}  // namespace

std::optional<SampleSchedule::Due> SampleSchedule::decide(Presence presence, Instant now) {
  if (presence.viewers == 0) {
    lastSent.reset();
    sentPresence = {};
    return std::nullopt;
  }
  const bool phoneJoined = presence.viewers > sentPresence.viewers;
  const bool isDue = !lastSent || phoneJoined || presence.active > sentPresence.active ||
                     now - *lastSent >= interval(presence);
  if (!isDue) {
    if (presence.active < sentPresence.active) {
      historyPending = false;
    }
    // So that a phone that looks away and back gets a sample at once.
    sentPresence.active = std::min(sentPresence.active, presence.active);
    return std::nullopt;
  }
  Due due{presence};
  due.withMacInfo = phoneJoined || !lastFull || now - *lastFull >= macInfoInterval;
  const bool isHistoryOwed = phoneJoined || historyPending;
  due.withHistory = isHistoryOwed && !due.withMacInfo;
  due.historyPending = isHistoryOwed && due.withMacInfo;
  return due;
}

void SampleSchedule::taken(const Due& due, Instant now) {
  if (due.withMacInfo) {
    lastFull = now;
  }
  lastSent = now;
}

void SampleSchedule::sent(const Due& due) {
  sentPresence = due.presence;
  historyPending = due.historyPending;
}

std::optional<Instant> SampleSchedule::nextDecision(Presence presence, Instant now) const {
  if (presence.viewers == 0) {
    return std::nullopt;
  }
  const Instant due = lastSent ? *lastSent + interval(presence) : now;
  return due <= now ? now + tick : tickAfter(now, due - Clock::Duration(1));
}

Instant SampleSchedule::tickAfter(Instant decided, Instant now) {
  const auto ticks = std::max<std::int64_t>((now - decided) / tick + 1, 1);
  return decided + ticks * tick;
}

}  // namespace orvik
