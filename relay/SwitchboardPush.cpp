#include <algorithm>
#include <chrono>
#include <iterator>
#include <utility>

#include "core/values/JSONValue.h"
#include "relay/ClientMessage.h"
#include "relay/Switchboard.h"

namespace orvik::relay {

namespace {

SharedText answer(const char* key, const std::string& value) {
  return framedText(JSONValue(JSONObject{{key, value}}).text());
}

}  // namespace

void Switchboard::subscribe(const Identifier& identifier, const Peer& phone,
                            const Subscribe& said) {
  const auto entry = places.find(identifier);
  if (pusher == nullptr || entry == places.end()) {
    return;
  }
  Place& place = entry->second;
  const auto accepted = std::ranges::find(place.phones, &phone, &Phone::peer);
  if (accepted == place.phones.end()) {
    return;
  }
  if (!said.subscription || !pusher->serves(*said.subscription)) {
    accepted->peer->send(answer("notSubscribed", said.subscription ? "service" : "invalid"));
    return;
  }
  if (!said.replaces.empty() && said.replaces != said.subscription->endpoint) {
    forget(*entry, said.replaces);
  }
  keepSubscription(*entry, *accepted, *said.subscription);
}

void Switchboard::keepSubscription(Entry& entry, Phone& phone, Subscription subscription) {
  Place& place = entry.second;
  std::vector<Subscription>& all = place.record->subscriptions;
  subscription.usedAt = unixNow();
  place.record->trim(limits, subscription.usedAt);
  const std::int64_t renewal =
      subscription.usedAt -
      std::chrono::duration_cast<std::chrono::seconds>(limits.subscriptionRenewal).count();
  const auto isSame = [&](const Subscription& each) {
    return each.endpoint == subscription.endpoint;
  };
  if (std::ranges::none_of(all, isSame) && !makeRoom(entry)) {
    phone.peer->send(answer("notSubscribed", "full"));
    return;
  }
  if (std::exchange(phone.endpoint, subscription.endpoint) != subscription.endpoint) {
    phone.pushed = place.record->lastNumber;
    if (neighbours != nullptr) {
      tellStanding(entry, false);
    }
  }
  const auto same = std::ranges::find_if(all, isSame);
  if (same != all.end() && same->isSameAs(subscription) && same->usedAt > renewal) {
    if (!place.subscribing.contains(subscription.endpoint)) {
      phone.peer->send(answer("subscribed", subscription.endpoint));
    }
    return;
  }
  // Counted from now on: several may be on their way to the store.
  const auto before = same == all.end() ? std::nullopt : std::optional(*same);
  (same == all.end() ? all.emplace_back() : *same) = subscription;
  const std::string endpoint = subscription.endpoint;
  place.subscribing.insert(endpoint);
  store.subscribe(
      entry.first, place.record->owner, std::move(subscription),
      answering<bool>(entry, [endpoint, before](Switchboard& self, Entry& now, bool isKept) {
        auto& asked = now.second.subscribing;
        asked.erase(asked.find(endpoint));
        if (!isKept) {
          restore(now, endpoint, before);
        } else if (self.neighbours != nullptr) {
          self.tell(now, {RecordChanged()});
        }
        subscriptionKept(now, endpoint, isKept);
      }));
}

bool Switchboard::makeRoom(Entry& entry) {
  const std::vector<Subscription>& all = entry.second.record->subscriptions;
  if (all.size() < limits.subscriptionsPerMac) {
    return true;
  }
  const auto longestUnused = std::ranges::min_element(all, {}, &Subscription::usedAt);
  const auto idle = std::chrono::duration_cast<std::chrono::seconds>(limits.subscriptionIdleTime);
  if (longestUnused->usedAt > unixNow() - idle.count()) {
    return false;
  }
  // A copy: it goes with what it names.
  forget(entry, std::string(longestUnused->endpoint));
  return true;
}

/// The store has the subscription as it was, if it was there.
void Switchboard::restore(Entry& entry, const std::string& endpoint,
                          const std::optional<Subscription>& before) {
  std::vector<Subscription>& all = entry.second.record->subscriptions;
  const auto present = std::ranges::find(all, endpoint, &Subscription::endpoint);
  if (present != all.end() && before) {
    *present = *before;
  } else if (present != all.end()) {
    all.erase(present);
  }
}

void Switchboard::subscriptionKept(const Entry& entry, const std::string& endpoint, bool isKept) {
  for (const Phone& phone : entry.second.phones) {
    if (phone.endpoint == endpoint) {
      phone.peer->send(isKept ? answer("subscribed", endpoint)
                              : answer("notSubscribed", "unavailable"));
    }
  }
}

void Switchboard::unsubscribe(const Identifier& identifier, const Peer& phone,
                              const std::string& endpoint) {
  const auto entry = places.find(identifier);
  if (entry != places.end() &&
      std::ranges::find(entry->second.phones, &phone, &Phone::peer) != entry->second.phones.end()) {
    forget(*entry, endpoint);
  }
}

void Switchboard::endpointGone(const Identifier& identifier, const std::string& endpoint) {
  const auto entry = places.find(identifier);
  if (entry != places.end() && entry->second.knowledge == Knowledge::known) {
    forget(*entry, endpoint);
  } else {
    store.unsubscribe(identifier, endpoint);
    if (neighbours != nullptr) {
      neighbours->tell(identifier, RelayMessage{RecordChanged()}.text());
    }
  }
}

void Switchboard::forget(Entry& entry, const std::string& endpoint) {
  const auto gone = std::erase_if(
      entry.second.record->subscriptions,
      [&](const Subscription& subscription) { return subscription.endpoint == endpoint; });
  if (gone > 0) {
    store.unsubscribe(entry.first, endpoint);
    if (neighbours != nullptr) {
      tell(entry, {RecordChanged()});
    }
    if (pusher != nullptr) {
      pusher->forget(entry.first, endpoint);
    }
  }
}

void Switchboard::silent(const Identifier& identifier, const Peer& phone, Clock::Duration unheard) {
  const auto entry = places.find(identifier);
  if (entry == places.end()) {
    return;
  }
  Place& place = entry->second;
  const auto accepted = std::ranges::find(place.phones, &phone, &Phone::peer);
  if (accepted == place.phones.end() || !std::exchange(accepted->active, false)) {
    return;
  }
  const auto subscription =
      std::ranges::find(place.record->subscriptions, accepted->endpoint, &Subscription::endpoint);
  if (pusher != nullptr && subscription != place.record->subscriptions.end()) {
    pushUnseen(*entry, *subscription, unheard, accepted->pushed);
  }
}

void Switchboard::pushUnseen(const Entry& entry, const Subscription& subscription,
                             Clock::Duration unheard, std::uint64_t after) {
  if (isLooking(entry.second, subscription)) {
    return;
  }
  const std::int64_t heard = unixNow() - std::chrono::ceil<std::chrono::seconds>(unheard).count();
  for (const Alert& alert : entry.second.alerts) {
    if (alert.kept.keptAt >= heard && alert.kept.number > after && !alert.isPushHeld) {
      push(entry, alert, {subscription});
    }
  }
}

bool Switchboard::isLooking(const Place& place, const Subscription& subscription) {
  return std::ranges::any_of(place.phones,
                             [&](const Phone& phone) {
                               return phone.active && phone.endpoint == subscription.endpoint;
                             }) ||
         isLookingElsewhere(place, subscription);
}

void Switchboard::push(Entry& entry, const Alert& alert) {
  if (pusher == nullptr) {
    return;
  }
  Place& place = entry.second;
  place.record->trim(limits, unixNow());
  std::vector<Subscription> to;
  std::ranges::copy_if(
      place.record->subscriptions, std::back_inserter(to),
      [&place](const Subscription& subscription) { return !isLooking(place, subscription); });
  if (!to.empty()) {
    push(entry, alert, to);
  }
}

void Switchboard::pushHeld(Entry& entry) {
  if (heldPushes.erase(entry.first) > 0) {
    for (Alert& alert : entry.second.alerts) {
      if (std::exchange(alert.isPushHeld, false)) {
        push(entry, alert);
      }
    }
  }
}

void Switchboard::push(const Entry& entry, const Alert& alert,
                       const std::vector<Subscription>& to) {
  RateLimit& rate = pushRates.try_emplace(entry.first, limits.pushes, lookedAt).first->second;
  if (rate.take(lookedAt)) {
    pusher->push({entry.first, alert.kept.number, alert.kept.envelope, alert.mark.topic,
                  alert.mark.isUrgent},
                 to);
  } else {
    pusher->leftOut(to.size());
  }
}

}  // namespace orvik::relay
