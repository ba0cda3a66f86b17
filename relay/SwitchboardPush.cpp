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
  std::vector<Subscription>& all = entry.second.record->subscriptions;
  subscription.usedAt = unixNow();
  const std::int64_t renewal =
      subscription.usedAt -
      std::chrono::duration_cast<std::chrono::seconds>(limits.subscriptionRenewal).count();
  const auto same = std::ranges::find(all, subscription.endpoint, &Subscription::endpoint);
  if (same == all.end() && all.size() >= limits.subscriptionsPerMac) {
    phone.peer->send(answer("notSubscribed", "full"));
    return;
  }
  phone.endpoint = subscription.endpoint;
  if (same != all.end() && same->isSameAs(subscription) && same->usedAt > renewal) {
    phone.peer->send(answer("subscribed", subscription.endpoint));
    return;
  }
  // Counted from now on: several may be on their way to the store.
  const auto before = same == all.end() ? std::nullopt : std::optional(*same);
  (same == all.end() ? all.emplace_back() : *same) = subscription;
  const std::string endpoint = subscription.endpoint;
  store.subscribe(
      entry.first, entry.second.record->owner, std::move(subscription),
      answering<bool>(entry, [endpoint, before](Switchboard&, Entry& place, bool isKept) {
        if (!isKept) {
          restore(place, endpoint, before);
        }
        subscriptionKept(place, endpoint, isKept);
      }));
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
  }
}

void Switchboard::forget(Entry& entry, const std::string& endpoint) {
  const auto gone = std::erase_if(
      entry.second.record->subscriptions,
      [&](const Subscription& subscription) { return subscription.endpoint == endpoint; });
  if (gone > 0) {
    store.unsubscribe(entry.first, endpoint);
  }
}

void Switchboard::push(Entry& entry, const Alert& alert, const AlertMark& mark) {
  Place& place = entry.second;
  if (pusher == nullptr) {
    return;
  }
  std::vector<Subscription> to;
  std::ranges::copy_if(place.record->subscriptions, std::back_inserter(to),
                       [&](const Subscription& subscription) {
                         return std::ranges::none_of(place.phones, [&](const Phone& phone) {
                           return phone.active && phone.endpoint == subscription.endpoint;
                         });
                       });
  if (to.empty()) {
    return;
  }
  RateLimit& rate = pushRates.try_emplace(entry.first, limits.pushes, lookedAt).first->second;
  if (rate.take(lookedAt)) {
    pusher->push({entry.first, alert.kept.number, alert.kept.envelope, mark.topic, mark.isUrgent},
                 to);
  } else {
    pusher->leftOut(to.size());
  }
}

}  // namespace orvik::relay
