#include "relay/Switchboard.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "core/values/JSONValue.h"
#include "relay/ClientMessage.h"

namespace orvik::relay {

namespace {

using Role = Target::Role;

SharedText sharedText(const JSONObject& object) { return framedText(JSONValue(object).text()); }

SharedText count(const char* key, std::uint64_t value) {
  return sharedText({{key, static_cast<std::int64_t>(value)}});
}

SharedText macState(bool connected) { return sharedText({{"mac", connected}}); }

}  // namespace

Switchboard::Switchboard(const Limits& limits, RecordStore& store, Post post,
                         std::function<std::int64_t()> unixNow)
    : limits(limits), store(store), post(std::move(post)), unixNow(std::move(unixNow)) {}

bool Switchboard::macArrived(const Identifier& identifier, const TokenHash& token, Peer& mac,
                             Instant now) {
  Entry& entry = enter(identifier);
  Place& place = entry.second;
  if (place.knowledge != Knowledge::known) {
    if (!wait(entry, {Role::mac, &mac, token, now + limits.holdTime})) {
      return false;
    }
    if (place.knowledge == Knowledge::unknown) {
      claim(entry);
    }
    const bool isRefused = place.knowledge == Knowledge::unknown;
    removeIfEmpty(entry);
    return !isRefused;
  }
  if (neighbours != nullptr && place.mac.peer == nullptr) {
    // Its alerts may have been kept by another relay meanwhile.
    if (!wait(entry, {Role::mac, &mac, token, now + limits.holdTime})) {
      return false;
    }
    place.elsewhere->readsAgain = place.elsewhere->isReading;
    reread(entry);
    return true;
  }
  if (!take(entry, mac, token, now)) {
    return false;
  }
  tellMac(entry);
  return true;
}

bool Switchboard::phoneArrived(const Identifier& identifier, const TokenHash& token,
                               std::optional<std::uint64_t> last, Peer& phone, Instant now) {
  Entry& entry = enter(identifier);
  if (entry.second.knowledge != Knowledge::known) {
    return wait(entry, {Role::phone, &phone, token, now + limits.holdTime, last});
  }
  if (!take(entry, {&phone, false, last.has_value()}, token, last)) {
    return false;
  }
  tellMac(entry);
  return true;
}

void Switchboard::forward(const Identifier& identifier, Peer& mac, const SharedText& message) {
  const auto entry = places.find(identifier);
  if (entry == places.end()) {
    return;
  }
  Place& place = entry->second;
  if (place.mac.peer == &mac) {
    forward(*entry, message);
    return;
  }
  const auto client = std::ranges::find(place.waiting, &mac, &Waiting::peer);
  if (client == place.waiting.end()) {
    return;
  }
  client->bytes += message->size();
  if (client->messages.size() >= limits.waitingMessages || client->bytes > limits.waitingBytes) {
    mac.close(CloseReason::tooManyMessages);
    left(identifier, mac);
  } else {
    client->messages.push_back(message);
  }
}

void Switchboard::setActive(const Identifier& identifier, const Peer& phone, bool active) {
  const auto entry = places.find(identifier);
  if (entry == places.end()) {
    return;
  }
  Place& place = entry->second;
  const auto accepted = std::ranges::find(place.phones, &phone, &Phone::peer);
  const auto waiting = std::ranges::find(place.waiting, &phone, &Waiting::peer);
  if (accepted != place.phones.end() && std::exchange(accepted->active, active) != active) {
    accepted->pushed = place.record->lastNumber;
    tellMac(*entry);
  } else if (waiting != place.waiting.end()) {
    waiting->active = active;
  }
}

void Switchboard::left(const Identifier& identifier, const Peer& peer) {
  const auto entry = places.find(identifier);
  if (entry == places.end()) {
    return;
  }
  Place& place = entry->second;
  if (place.mac.peer == &peer) {
    pushHeld(*entry);
    place.mac = {};
    if (!hasMac(place)) {
      tellPhones(place);
    }
    tellMac(*entry);
  } else if (std::erase_if(place.phones, [&](const Phone& phone) { return phone.peer == &peer; }) >
             0) {
    tellMac(*entry);
  } else {
    removeWaiting(*entry, [&](const Waiting& client) { return client.peer == &peer; });
  }
  removeIfEmpty(*entry);
}

void Switchboard::expire(Instant now) {
  lookedAt = now;
  std::erase_if(pushRates, [now](const auto& rate) { return rate.second.isFull(now); });
  for (auto next = waitingPlaces.begin(); next != waitingPlaces.end();) {
    // The place may go, and its identifier from the set with it.
    Entry& entry = *places.find(*next++);
    removeWaiting(entry, [now](const Waiting& client) {
      const bool isOver = now >= client.until;
      if (isOver) {
        client.peer->close(CloseReason::macAbsent);
      }
      return isOver;
    });
    removeIfEmpty(entry);
  }
  if (neighbours != nullptr) {
    expireElsewhere(now);
  }
  if (now >= nextUse) {
    nextUse = now + limits.useInterval;
    noting = {true};
  }
  if (noting.isUnderWay) {
    // The store has a queue for questions of clients, which does not hold one for each place.
    walk(noting, limits.rereads,
         [this](const Entry& entry) { store.find(entry.first, [](const Found&) {}); });
  }
  if (unsafePlaces.empty() || now < nextKeeping || !store.state().isAvailable()) {
    return;
  }
  nextKeeping = now + limits.keepRetry;
  for (const Identifier& identifier : std::exchange(unsafePlaces, {})) {
    Entry& entry = *places.find(identifier);
    forgetOldAlerts(entry.second);
    if (entry.second.revoked) {
      askToRevoke(entry);
    }
    for (Alert& alert : entry.second.alerts) {
      if (alert.fate == Alert::Fate::unsafe) {
        keep(entry, alert);
      }
    }
  }
}

Switchboard::Entry& Switchboard::enter(const Identifier& identifier) {
  const auto [entry, isNew] = places.try_emplace(identifier, Place{incarnations});
  if (isNew) {
    ++incarnations;
    if (neighbours != nullptr) {
      entry->second.elsewhere = std::make_unique<Elsewhere>();
      neighbours->join(identifier);
      tellStanding(*entry, true);
    }
    store.find(identifier,
               answering<Found>(*entry, [](Switchboard& self, Entry& place, Found answer) {
                 self.found(place, std::move(answer));
               }));
  }
  return *entry;
}

bool Switchboard::wait(Entry& entry, Waiting client) {
  Place& place = entry.second;
  const bool isHeld = client.role == Role::phone && place.knowledge != Knowledge::asked;
  const std::size_t most = client.role == Role::mac ? limits.waitingMacsPerMac
                           : isHeld                 ? limits.heldPhonesPerMac
                                                    : limits.phonesPerMac;
  const auto waiting = std::ranges::count(place.waiting, client.role, &Waiting::role);
  if (static_cast<std::size_t>(waiting) >= most || (isHeld && heldCount >= limits.heldPhones)) {
    client.peer->close(client.role == Role::mac ? CloseReason::tooManyMacs
                                                : CloseReason::tooManyPhones);
    removeIfEmpty(entry);
    return false;
  }
  heldCount += isHeld ? 1 : 0;
  place.waiting.push_back(std::move(client));
  waitingPlaces.insert(entry.first);
  return true;
}

void Switchboard::found(Entry& entry, Found answer) {
  if (auto* const record = std::get_if<Record>(&answer)) {
    learn(entry, std::move(*record));
  } else if (std::holds_alternative<NoRecord>(answer)) {
    entry.second.knowledge = Knowledge::unknown;
    hold(entry);
    if (macElsewhere(entry.second) != nullptr) {
      // Its claim was committed after the store had been read.
      rereads[entry.first] = time() + limits.checkInterval;
    }
    claim(entry);
    removeIfEmpty(entry);
  } else {
    removeWaiting(entry, [](const Waiting& client) {
      client.peer->close(CloseReason::storeUnavailable);
      return true;
    });
    removeIfEmpty(entry);
  }
}

/// From now on the phones that wait are held, as far as that goes.
void Switchboard::hold(Entry& entry) {
  std::size_t held = 0;
  removeWaiting(entry, [&](const Waiting& client) {
    if (client.role == Role::phone) {
      if (held >= limits.heldPhonesPerMac || heldCount >= limits.heldPhones) {
        client.peer->close(CloseReason::tooManyPhones);
        // Counted as the others are, which removing it takes back.
        ++heldCount;
        return true;
      }
      ++held;
      ++heldCount;
    }
    return false;
  });
}

void Switchboard::claim(Entry& entry) {
  std::optional<TokenHash> token;
  removeWaiting(entry, [&token](const Waiting& client) {
    if (client.role != Role::mac || token) {
      return false;
    }
    if (client.peer->mayClaim()) {
      token = client.token;
      return false;
    }
    client.peer->close(CloseReason::tooManyClaims);
    return true;
  });
  if (!token) {
    return;
  }
  entry.second.knowledge = Knowledge::claiming;
  store.claim(entry.first, *token,
              answering<Claimed>(entry, [](Switchboard& self, Entry& place, Claimed answer) {
                self.claimed(place, std::move(answer));
              }));
}

void Switchboard::claimed(Entry& entry, Claimed answer) {
  if (answer) {
    learn(entry, *std::move(answer));
    return;
  }
  entry.second.knowledge = Knowledge::unknown;
  removeWaiting(entry, [](const Waiting& client) {
    if (client.role == Role::mac) {
      client.peer->close(CloseReason::storeUnavailable);
    }
    return client.role == Role::mac;
  });
  removeIfEmpty(entry);
}

void Switchboard::learn(Entry& entry, Record record) {
  Place& place = entry.second;
  for (KeptAlert& alert : record.alerts) {
    place.alerts.push_back({std::move(alert), Alert::Fate::safe, 0});
  }
  record.alerts = {};
  // Before: phones that wait are counted by what was known.
  const std::vector<Waiting> waiting = takeWaiting(entry);
  place.record = std::move(record);
  place.knowledge = Knowledge::known;
  admit(entry, waiting);
}

void Switchboard::admit(Entry& entry, const std::vector<Waiting>& waiting) {
  Place& place = entry.second;
  // The Macs first: a phone that has waited for its Mac finds it there.
  for (const Waiting& client : waiting) {
    if (client.role == Role::mac) {
      static_cast<void>(take(entry, *client.peer, client.token, client.until - limits.holdTime));
    }
  }
  for (const Waiting& client : waiting) {
    if (client.role == Role::phone) {
      const Phone phone{client.peer, client.active, client.last.has_value()};
      static_cast<void>(take(entry, phone, client.token, client.last));
    }
  }
  tellMac(entry);
  if (place.elsewhere) {
    catchUp(entry);
  }
  for (const Waiting& client : waiting) {
    for (const SharedText& message : client.messages) {
      if (place.mac.peer == client.peer) {
        forward(entry, message);
      }
    }
  }
  removeIfEmpty(entry);
}

std::vector<Switchboard::Waiting> Switchboard::takeWaiting(Entry& entry) {
  std::vector<Waiting> waiting = entry.second.waiting;
  removeWaiting(entry, [](const Waiting&) { return true; });
  return waiting;
}

template <typename Condition>
void Switchboard::removeWaiting(Entry& entry, Condition condition) {
  Place& place = entry.second;
  const bool holds =
      place.knowledge == Knowledge::unknown || place.knowledge == Knowledge::claiming;
  std::erase_if(place.waiting, [&](const Waiting& client) {
    const bool isHeld = holds && client.role == Role::phone;
    const bool isRemoved = condition(client);
    heldCount -= isHeld && isRemoved ? 1 : 0;
    return isRemoved;
  });
  if (place.waiting.empty()) {
    waitingPlaces.erase(entry.first);
  }
}

void Switchboard::removeIfEmpty(Entry& entry) {
  const Place& place = entry.second;
  if (place.mac.peer == nullptr && place.phones.empty() && place.waiting.empty() &&
      !place.revoked) {
    unsafePlaces.erase(entry.first);
    if (place.elsewhere) {
      leaveNeighbours(entry);
    }
    // A copy: the argument goes with the entry.
    places.erase(Identifier(entry.first));
  }
}

bool Switchboard::take(Entry& entry, Peer& mac, const TokenHash& token, Instant arrived) {
  Place& place = entry.second;
  if (place.record->owner != token) {
    // Whoever revokes is told that it is done only when it is, whatever connection it asks over.
    mac.close(place.revoked && *place.revoked == token ? CloseReason::storeUnavailable
                                                       : CloseReason::pairingRejected);
    return false;
  }
  const bool hadMac = hasMac(place);
  Peer* const previous = std::exchange(place.mac, Mac{&mac}).peer;
  for (Alert& alert : place.alerts) {
    alert.ordinal = 0;
  }
  if (previous != nullptr) {
    previous->close(CloseReason::replaced);
  } else if (!hadMac) {
    tellPhones(place);
  }
  if (Elsewhere* const elsewhere = place.elsewhere.get()) {
    elsewhere->rise();
    elsewhere->since = arrived;
    elsewhere->repeatsUntil = time() + limits.repeatTime;
    skipNumbers(place);
    if (!elsewhere->relays.empty()) {
      askForAlerts(entry);
    }
  }
  // Before the presence, which tells the Mac that it is accepted: it has to know by then.
  if (store.isDurable()) {
    mac.send(count("safe", 0));
  }
  if (pusher != nullptr) {
    mac.send(sharedText({{"push", true}}));
  }
  return true;
}

bool Switchboard::take(Entry& entry, const Phone& phone, const TokenHash& token,
                       std::optional<std::uint64_t> last) {
  Place& place = entry.second;
  if (place.record->owner != token) {
    phone.peer->close(CloseReason::pairingRejected);
    return false;
  }
  const std::uint64_t others = place.elsewhere ? place.elsewhere->phones : 0;
  if (place.phones.size() + others >= limits.phonesPerMac) {
    phone.peer->close(CloseReason::tooManyPhones);
    return false;
  }
  place.phones.push_back(phone);
  phone.peer->send(macState(hasMac(place)));
  if (pusher != nullptr) {
    phone.peer->send(sharedText({{"push", pusher->publicKey()}}));
  }
  tellAlerts(entry, phone, last);
  return true;
}

void Switchboard::revoke(Entry& entry) {
  Place& place = entry.second;
  if (revocations >= limits.revocations) {
    place.mac.peer->close(CloseReason::storeUnavailable);
    return;
  }
  ++revocations;
  place.revoked =
      std::make_unique<TokenHash>(std::exchange(place.record->owner, TokenHash::ofNoToken()));
  place.alerts.clear();
  if (pusher != nullptr) {
    for (const Subscription& subscription : place.record->subscriptions) {
      pusher->forget(entry.first, subscription.endpoint);
    }
  }
  place.record->subscriptions.clear();
  for (const Phone& phone : std::exchange(place.phones, {})) {
    phone.peer->close(CloseReason::pairingRejected);
  }
  askToRevoke(entry);
}

void Switchboard::askToRevoke(Entry& entry) {
  store.revoke(entry.first, *entry.second.revoked,
               answering<bool>(entry, [](Switchboard& self, Entry& place, bool isDone) {
                 self.revoked(place, isDone);
               }));
}

void Switchboard::revoked(Entry& entry, bool isDone) {
  Place& place = entry.second;
  if (!isDone) {
    unsafePlaces.insert(entry.first);
    if (place.mac.peer != nullptr) {
      place.mac.peer->close(CloseReason::storeUnavailable);
    }
    return;
  }
  --revocations;
  place.revoked.reset();
  if (neighbours != nullptr) {
    tell(entry, {RecordChanged()});
  }
  if (place.mac.peer != nullptr) {
    place.mac.peer->close(CloseReason::pairingRejected);
  }
  removeIfEmpty(entry);
}

void Switchboard::tellAlerts(Entry& entry, const Phone& phone, std::optional<std::uint64_t> last) {
  Place& place = entry.second;
  forgetOldAlerts(place);
  // A number that has never been given is of another relay's counting.
  const bool isGiven = last && (*last <= std::max(place.record->lastNumber, lastNumber) ||
                                (neighbours != nullptr && mayBeGiven(*last)));
  const std::uint64_t from = !last ? place.record->takenNumber : isGiven ? *last : 0;
  const std::int64_t oldest =
      unixNow() - std::chrono::duration_cast<std::chrono::seconds>(limits.untakenAlertTime).count();
  bool isAnyTold = false;
  for (const Alert& alert : place.alerts) {
    if (alert.kept.number <= from || (!last && alert.kept.keptAt <= oldest)) {
      continue;
    }
    if (last) {
      phone.peer->send(count("alert", alert.kept.number));
    }
    phone.peer->send(alert.kept.envelope);
    isAnyTold = true;
  }
  if (isAnyTold) {
    markTaken(entry);
  }
}

void Switchboard::forward(Entry& entry, const SharedText& message) {
  if (entry.second.revoked) {
    return;
  }
  if (const auto mark = AlertMark::in(message->text())) {
    entry.second.mac.next = std::make_unique<AlertMark>(*mark);
    return;
  }
  if (isRevocation(message->text())) {
    revoke(entry);
    return;
  }
  if (message->size() <= limits.keptAlertBytes && isAlert(message->text())) {
    takeAlert(entry, message);
    return;
  }
  for (const Phone& phone : entry.second.phones) {
    phone.peer->send(message);
  }
  if (neighbours != nullptr && entry.second.elsewhere->phones > 0) {
    tell(entry, {ToldEnvelope{message->text()}});
  }
}

void Switchboard::takeAlert(Entry& entry, const SharedText& message) {
  Place& place = entry.second;
  forgetOldAlerts(place);
  const std::uint64_t ordinal = ++place.mac.arrived;
  const auto said = std::exchange(place.mac.next, nullptr);
  const AlertMark mark = said ? *said : AlertMark();
  const auto same = std::ranges::find_if(place.alerts, [&message](const Alert& alert) {
    return alert.kept.envelope->text() == message->text();
  });
  if (same != place.alerts.end()) {
    // A Mac repeats what it does not know to be safe. Phones have it.
    same->ordinal = same->ordinal == 0 ? ordinal : same->ordinal;
    if (same->fate == Alert::Fate::heard) {
      keep(entry, *same);
    }
    tellSafe(place);
    return;
  }
  const std::uint64_t previous = place.record->lastNumber;
  lastNumber = std::max(lastNumber, previous) + 1;
  place.record->lastNumber = lastNumber;
  // A copy: the message itself may stand in a buffer with room for much more.
  place.alerts.push_back(
      {{lastNumber, unixNow(), framedText(message->text())}, Alert::Fate::asked, ordinal, mark});
  forgetOldAlerts(place);
  const SharedText number = count("alert", lastNumber);
  for (const Phone& phone : place.phones) {
    if (phone.counts) {
      phone.peer->send(number);
    }
    phone.peer->send(message);
  }
  if (neighbours != nullptr) {
    place.alerts.back().by = neighbours->self();
    tellAlert(entry, place.alerts.back(), previous);
  }
  keep(entry, place.alerts.back());
  if (neighbours != nullptr && time() < place.elsewhere->repeatsUntil) {
    place.alerts.back().isPushHeld = true;
    heldPushes.try_emplace(entry.first, place.elsewhere->repeatsUntil);
  } else {
    push(entry, place.alerts.back());
  }
  if (hasPhones(place)) {
    markTaken(entry);
  }
}

void Switchboard::markTaken(Entry& entry) {
  Record& record = *entry.second.record;
  const std::uint64_t newest = entry.second.alerts.back().kept.number;
  if (std::exchange(record.takenNumber, std::max(record.takenNumber, newest)) < newest) {
    store.markTaken(entry.first, newest);
  }
}

void Switchboard::keep(Entry& entry, Alert& alert) {
  alert.fate = Alert::Fate::asked;
  store.keep(entry.first, entry.second.record->owner, alert.kept,
             answering<bool>(
                 entry, [number = alert.kept.number](Switchboard& self, Entry& place, bool isSafe) {
                   self.kept(place, number, isSafe);
                 }));
}

void Switchboard::kept(Entry& entry, std::uint64_t number, bool isSafe) {
  Place& place = entry.second;
  if (!store.isDurable() || place.revoked) {
    return;
  }
  const auto alert =
      std::ranges::find(place.alerts, number, [](const Alert& each) { return each.kept.number; });
  if (alert != place.alerts.end()) {
    alert->fate = isSafe ? Alert::Fate::safe : Alert::Fate::unsafe;
    if (!isSafe) {
      unsafePlaces.insert(entry.first);
    }
  }
  forgetOldAlerts(place);
  if (isSafe) {
    tellSafe(place);
  }
}

/// Says how many alerts of the Mac's connection are safe, from the first on, if these are more than
/// it knows of. One that newer ones have pushed out before it was safe counts with those.
void Switchboard::tellSafe(Place& place) {
  Mac& mac = place.mac;
  std::uint64_t safe = mac.arrived;
  for (const Alert& alert : place.alerts) {
    if (alert.ordinal > 0 && alert.fate != Alert::Fate::safe) {
      safe = std::min(safe, alert.ordinal - 1);
    }
  }
  if (safe == mac.arrived) {
    mac.missing = 0;
  } else if (mac.missing > 0) {
    safe = std::min(safe, mac.missing - 1);
  }
  if (store.isDurable() && mac.peer != nullptr && safe > mac.safe) {
    mac.safe = safe;
    mac.peer->send(count("safe", safe));
  }
}

void Switchboard::forgetOldAlerts(Place& place) const {
  const std::int64_t oldest =
      unixNow() - std::chrono::duration_cast<std::chrono::seconds>(limits.keptAlertTime).count();
  std::erase_if(place.alerts, [oldest](const Alert& alert) { return alert.kept.keptAt <= oldest; });
  std::size_t surplus =
      place.alerts.size() - std::min(place.alerts.size(), limits.keptAlertsPerMac);
  std::erase_if(place.alerts, [&](const Alert& alert) {
    if (surplus == 0) {
      return false;
    }
    --surplus;
    if (alert.fate == Alert::Fate::unsafe && alert.ordinal > 0) {
      Mac& mac = place.mac;
      mac.missing = mac.missing == 0 ? alert.ordinal : std::min(mac.missing, alert.ordinal);
    }
    // One that the store has not answered for is neither safe nor given up.
    return alert.fate != Alert::Fate::asked;
  });
}

bool Switchboard::hasMac(const Place& place) {
  return place.mac.peer != nullptr || macElsewhere(place) != nullptr;
}

bool Switchboard::hasPhones(const Place& place) {
  return !place.phones.empty() || (place.elsewhere && place.elsewhere->phones > 0);
}

void Switchboard::tellMac(const Entry& entry) {
  tellViewers(entry.second);
  if (neighbours != nullptr) {
    tellStanding(entry, false);
  }
}

void Switchboard::tellViewers(const Place& place) {
  if (place.mac.peer != nullptr) {
    auto viewers = static_cast<std::int64_t>(place.phones.size());
    std::int64_t active = std::ranges::count(place.phones, true, &Phone::active);
    if (place.elsewhere) {
      viewers += static_cast<std::int64_t>(place.elsewhere->phones);
      active += static_cast<std::int64_t>(place.elsewhere->active);
    }
    place.mac.peer->send(sharedText({{"viewers", viewers}, {"active", active}}));
  }
}

void Switchboard::tellPhones(const Place& place) {
  if (place.phones.empty()) {
    return;
  }
  const SharedText message = macState(hasMac(place));
  for (const Phone& phone : place.phones) {
    phone.peer->send(message);
  }
}

}  // namespace orvik::relay
