#include <algorithm>
#include <chrono>
#include <utility>

#include "core/values/JSONValue.h"
#include "relay/Switchboard.h"

namespace orvik::relay {

void Switchboard::joinNeighbours(Neighbours& others, std::function<Instant()> now) {
  neighbours = &others;
  time = std::move(now);
}

/// Of the one that stays, if several have not heard of each other yet.
const Switchboard::Neighbour* Switchboard::macElsewhere(const Place& place) {
  const Neighbour* found = nullptr;
  if (place.elsewhere) {
    for (const Neighbour& each : place.elsewhere->relays) {
      if (each.mac && (found == nullptr || std::pair(each.mac->epoch, each.relay) >
                                               std::pair(found->mac->epoch, found->relay))) {
        found = &each;
      }
    }
  }
  return found;
}

void Switchboard::tell(const Entry& entry, const RelayMessage& message) const {
  neighbours->tell(entry.first, message.text());
}

void Switchboard::tellAlert(const Entry& entry, const Alert& alert, std::uint64_t after) const {
  tell(entry, {ToldAlert{alert.kept.number, after, alert.kept.keptAt, alert.mark,
                         alert.kept.envelope->text(), alert.by}});
}

void Switchboard::tellStanding(const Entry& entry, bool asks) {
  Standing said = standing(entry.second);
  said.asks = asks;
  Elsewhere& elsewhere = *entry.second.elsewhere;
  // Nobody has to be told twice of nobody.
  if (std::exchange(elsewhere.isTold, !said.isEmpty()) || !said.isEmpty() || asks) {
    tell(entry, {std::move(said)});
  }
}

Standing Switchboard::standing(const Place& place) const {
  Standing said;
  if (!place.record) {
    return said;
  }
  if (place.mac.peer != nullptr) {
    said.mac = {
        .epoch = place.elsewhere->epoch,
        .age = static_cast<std::uint64_t>(
            std::chrono::duration_cast<std::chrono::milliseconds>(time() - place.elsewhere->since)
                .count()),
        .safe = place.record->lastNumber};
    for (const Alert& alert : place.alerts) {
      if (store.isDurable() && alert.fate != Alert::Fate::safe) {
        said.mac->safe = std::min(said.mac->safe, alert.kept.number - 1);
      }
    }
  }
  said.phones =
      static_cast<std::uint32_t>(std::min<std::size_t>(place.phones.size(), Standing::mostPhones));
  for (const Phone& phone : place.phones) {
    if (phone.active && said.active < said.phones) {
      ++said.active;
    }
    if (phone.active && !phone.endpoint.empty() && said.looking.size() < Standing::mostLooking) {
      said.looking.push_back(endpointKey(phone.endpoint));
    }
  }
  said.last = place.record->lastNumber;
  said.taken = place.record->takenNumber;
  return said;
}

void Switchboard::heard(const Identifier& identifier, RelayID from, std::string_view message) {
  const auto entry = places.find(identifier);
  if (neighbours == nullptr || entry == places.end() || from == neighbours->self()) {
    return;
  }
  if (const auto read = RelayMessage::in(message)) {
    std::visit([&](const auto& said) { heard(*entry, from, said); }, read->said);
  }
}

Switchboard::LastAlerts Switchboard::Neighbour::take(const Standing& said,
                                                     std::uint64_t lastNumber) {
  mac = said.mac;
  phones = said.phones;
  active = said.active;
  last = said.last;
  auto before = std::exchange(pushed, {});
  for (const std::string& key : said.looking) {
    const auto known = before.find(key);
    pushed[key] = known == before.end() ? lastNumber : known->second;
    if (known != before.end()) {
      before.erase(known);
    }
  }
  for (auto& [key, seen] : before) {
    seen = std::max(seen, said.last);
  }
  return before;
}

void Switchboard::heard(Entry& entry, RelayID from, const Standing& said) {
  Place& place = entry.second;
  Elsewhere& elsewhere = *place.elsewhere;
  bool isNew = false;
  LastAlerts away;
  changeElsewhere(entry, [&] {
    const auto known = std::ranges::find(elsewhere.relays, from, &Neighbour::relay);
    if (known != elsewhere.relays.end() && known->mac && !said.mac) {
      // It may have left because the pairing is revoked.
      rereads[entry.first] = time();
    }
    if (known != elsewhere.relays.end()) {
      away = known->take(said, place.record ? place.record->lastNumber : said.last);
      if (said.isEmpty()) {
        elsewhere.relays.erase(known);
      }
    } else if (!said.isEmpty() && elsewhere.relays.size() < limits.neighboursPerMac) {
      elsewhere.relays.push_back({from});
      elsewhere.relays.back().take(said, place.record ? place.record->lastNumber : said.last);
      isNew = true;
    }
  });
  // What was on its way to one who looked has come to one who does not.
  pushUnseen(entry, away);
  if (place.record && mayBeGiven(said.last)) {
    if (place.mac.peer != nullptr) {
      skipNumbers(place);
      if (isNew) {
        askForAlerts(entry);
      }
    }
    place.record->takenNumber =
        std::max(place.record->takenNumber, std::min(said.taken, place.record->lastNumber));
  }
  if (said.mac) {
    elsewhere.highestEpoch = std::max(elsewhere.highestEpoch, said.mac->epoch);
    if (place.mac.peer != nullptr) {
      contest(entry, from, *said.mac);
    }
  }
  // Both may have come at once, when neither was heard by the other yet.
  if (said.asks || isNew) {
    tellStanding(entry, false);
  }
  if (said.mac && place.knowledge == Knowledge::unknown) {
    reread(entry);
  } else if (place.knowledge == Knowledge::known) {
    catchUp(entry);
  }
  removeIfEmpty(entry);
}

/// Numbers that the Mac's relay before this one has given are not given again.
void Switchboard::skipNumbers(Place& place) const {
  for (const Neighbour& each : place.elsewhere->relays) {
    if (mayBeGiven(each.last)) {
      place.record->lastNumber = std::max(place.record->lastNumber, each.last);
    }
  }
}

/// The Mac may repeat alerts that its relay before this one has numbered, told and pushed, and that
/// the store has not.
void Switchboard::askForAlerts(const Entry& entry) const { tell(entry, {AlertsMissed{0}}); }

/// Two relays have a Mac. The later one stays, which each can tell by the ages, whatever their
/// clocks say; when the ages are too close for that, the higher epoch does.
void Switchboard::contest(Entry& entry, RelayID from, const Standing::Mac& other) {
  Place& place = entry.second;
  Elsewhere& elsewhere = *place.elsewhere;
  if (std::pair(other.epoch, from) > std::pair(elsewhere.epoch, neighbours->self())) {
    const std::uint64_t age = standing(place).mac->age;
    if (age >= other.age || other.epoch == Standing::Mac::highestEpoch) {
      // Those here have one, elsewhere.
      pushHeld(entry);
      std::exchange(place.mac, {}).peer->close(CloseReason::replaced);
    } else {
      elsewhere.rise();
    }
  }
  // The other has not heard of this one.
  tellStanding(entry, false);
}

template <typename Change>
void Switchboard::changeElsewhere(Entry& entry, Change change) {
  Place& place = entry.second;
  Elsewhere& elsewhere = *place.elsewhere;
  const bool hadMac = hasMac(place);
  const auto before = std::pair(elsewhere.phones, elsewhere.active);
  change();
  elsewhere.phones = elsewhere.active = 0;
  for (const Neighbour& each : elsewhere.relays) {
    elsewhere.phones += each.phones;
    elsewhere.active += each.active;
  }
  if (hasMac(place) != hadMac) {
    tellPhones(place);
  }
  if (std::pair(elsewhere.phones, elsewhere.active) != before) {
    tellViewers(place);
  }
}

void Switchboard::heard(Entry& entry, RelayID from, const ToldEnvelope& said) {
  const Place& place = entry.second;
  if (place.phones.empty() || place.mac.peer != nullptr) {
    return;
  }
  const Neighbour* const other = macElsewhere(place);
  if (other == nullptr || other->relay != from) {
    return;
  }
  const SharedText message = framedText(said.text);
  for (const Phone& phone : place.phones) {
    phone.peer->send(message);
  }
}

void Switchboard::heard(Entry& entry, RelayID from, const ToldAlert& said) {
  Place& place = entry.second;
  const auto other = std::ranges::find(place.elsewhere->relays, from, &Neighbour::relay);
  if (other == place.elsewhere->relays.end() || !(other->mac || place.mac.peer != nullptr) ||
      !mayBeGiven(said.number) || said.envelope.size() > limits.keptAlertBytes) {
    return;
  }
  other->last = std::max(other->last, said.number);
  if (place.knowledge != Knowledge::known || place.revoked) {
    return;
  }
  if (place.mac.peer == nullptr && said.after > place.record->lastNumber) {
    // A phone that had this one would not ask for those before it.
    catchUp(entry);
    return;
  }
  takeElsewhere(entry, {{said.number, std::min(said.keptAt, unixNow()), framedText(said.envelope)},
                        Alert::Fate::heard,
                        0,
                        said.mark,
                        said.by});
}

void Switchboard::heard(Entry& entry, RelayID /*from*/, const AlertsMissed& said) {
  Place& place = entry.second;
  if (place.revoked) {
    return;
  }
  forgetOldAlerts(place);
  std::uint64_t after = said.after;
  // Whoever asks may have read the store before these were in it.
  constexpr std::int64_t secondsNew = 60;
  const std::int64_t old = unixNow() - secondsNew;
  for (const Alert& alert : place.alerts) {
    const bool isKnownHere =
        place.mac.peer != nullptr || alert.fate != Alert::Fate::safe || alert.kept.keptAt >= old;
    if (isKnownHere && alert.kept.number > said.after) {
      tellAlert(entry, alert, std::min(after, alert.kept.number - 1));
      after = alert.kept.number;
    }
  }
}

void Switchboard::heard(Entry& entry, RelayID /*from*/, const RecordChanged& /*said*/) {
  const Instant now = time();
  if (entry.second.elsewhere->isReading || entry.second.knowledge == Knowledge::asked) {
    rereads[entry.first] = now;
  } else {
    reread(entry);
    rereads[entry.first] = now + limits.rereadTime;
  }
}

bool Switchboard::isLookingElsewhere(const Place& place, const Subscription& subscription) {
  if (!place.elsewhere || place.elsewhere->active == 0) {
    return false;
  }
  const std::string key = endpointKey(subscription.endpoint);
  return std::ranges::any_of(place.elsewhere->relays,
                             [&key](const Neighbour& each) { return each.pushed.contains(key); });
}

/// Numbers that no relay's clock is far enough ahead for are made up.
bool Switchboard::mayBeGiven(std::uint64_t number) const {
  constexpr std::int64_t secondsAhead = 3600;
  return number <= std::max(lastNumber, firstNumber(unixNow() + secondsAhead));
}

/// Asks for alerts that the Mac's relay has given a number and that are not here.
void Switchboard::catchUp(Entry& entry) {
  Place& place = entry.second;
  const Neighbour* const other = macElsewhere(place);
  if (other == nullptr || place.mac.peer != nullptr || place.revoked) {
    return;
  }
  const std::uint64_t after = std::min(place.record->lastNumber, other->mac->safe);
  if (other->last > after && mayBeGiven(other->last)) {
    tell(entry, {AlertsMissed{after}});
    missingPlaces.insert(entry.first);
    place.elsewhere->askings = 0;
  }
}

/// An alert that another relay has numbered, or the store has had from it.
void Switchboard::takeElsewhere(Entry& entry, Alert alert) {
  Place& place = entry.second;
  Record& record = *place.record;
  record.lastNumber = std::max(record.lastNumber, alert.kept.number);
  const auto same = std::ranges::find_if(place.alerts, [&alert](const Alert& each) {
    return each.kept.envelope->text() == alert.kept.envelope->text();
  });
  if (same != place.alerts.end()) {
    if (same->fate == Alert::Fate::heard) {
      same->fate = alert.fate;
    }
    if (alert.by != 0 && alert.by != neighbours->self()) {
      same->isPushHeld = false;
    }
    return;
  }
  if (place.alerts.size() >= limits.keptAlertsPerMac &&
      alert.kept.number < place.alerts.front().kept.number) {
    // Newer ones have pushed it out, which the store has still to learn: phones have had it.
    return;
  }
  const SharedText number = framedText(
      JSONValue(JSONObject{{"alert", static_cast<std::int64_t>(alert.kept.number)}}).text());
  const bool isTaken = alert.kept.number <= record.takenNumber;
  for (const Phone& phone : place.phones) {
    if (phone.counts) {
      phone.peer->send(number);
      phone.peer->send(alert.kept.envelope);
    } else if (!isTaken) {
      phone.peer->send(alert.kept.envelope);
    }
  }
  if (!place.phones.empty()) {
    record.takenNumber = std::max(record.takenNumber, alert.kept.number);
  }
  const auto behind = std::ranges::upper_bound(place.alerts, alert.kept.number, {},
                                               [](const Alert& each) { return each.kept.number; });
  place.alerts.insert(behind, std::move(alert));
  forgetOldAlerts(place);
}

void Switchboard::reread(Entry& entry) {
  Place& place = entry.second;
  if (place.knowledge != Knowledge::known && place.knowledge != Knowledge::unknown) {
    return;
  }
  if (std::exchange(place.elsewhere->isReading, true)) {
    return;
  }
  store.find(entry.first, answering<Found>(entry, [](Switchboard& self, Entry& now, Found answer) {
               self.reread(now, std::move(answer));
             }));
}

void Switchboard::reread(Entry& entry, Found answer) {
  Place& place = entry.second;
  place.elsewhere->isReading = false;
  auto* const record = std::get_if<Record>(&answer);
  if (place.knowledge == Knowledge::unknown && record != nullptr) {
    learn(entry, std::move(*record));
    return;
  }
  const bool isExpected = place.knowledge == Knowledge::unknown && macElsewhere(place) != nullptr;
  if (isExpected || std::holds_alternative<StoreUnavailable>(answer)) {
    rereads[entry.first] = time() + limits.checkInterval;
  }
  if (place.knowledge != Knowledge::known) {
    return;
  }
  if (std::exchange(place.elsewhere->readsAgain, false)) {
    reread(entry);
    return;
  }
  if (record != nullptr && !place.revoked) {
    merge(entry, std::move(*record));
  } else if (record == nullptr && !place.waiting.empty()) {
    // None that another relay may have given since the record was read.
    place.record->lastNumber = std::max(place.record->lastNumber, firstNumber(unixNow()) - 1);
  }
  if (!place.waiting.empty()) {
    admit(entry, takeWaiting(entry));
  } else {
    catchUp(entry);
    removeIfEmpty(entry);
  }
}

void Switchboard::merge(Entry& entry, Record record) {
  Place& place = entry.second;
  if (record.owner != place.record->owner) {
    changeOwner(entry, std::move(record));
    return;
  }
  for (KeptAlert& alert : record.alerts) {
    takeElsewhere(entry, {std::move(alert), Alert::Fate::safe, 0});
  }
  if (place.mac.peer != nullptr || !place.waiting.empty()) {
    // Elsewhere a number that no alert has yet would hide the ones that are missed.
    place.record->lastNumber = std::max(place.record->lastNumber, record.lastNumber);
  }
  place.record->takenNumber = std::max(place.record->takenNumber, record.takenNumber);
  // What is on its way to the store is not in its answer.
  for (Subscription& here : place.record->subscriptions) {
    if (place.subscribing.contains(here.endpoint)) {
      std::erase_if(record.subscriptions,
                    [&](const Subscription& each) { return each.endpoint == here.endpoint; });
      record.subscriptions.push_back(std::move(here));
    }
  }
  place.record->subscriptions = std::move(record.subscriptions);
}

void Switchboard::changeOwner(Entry& entry, Record record) {
  Place& place = entry.second;
  for (const Phone& phone : std::exchange(place.phones, {})) {
    phone.peer->close(CloseReason::pairingRejected);
  }
  if (Peer* const mac = std::exchange(place.mac, {}).peer) {
    mac->close(CloseReason::pairingRejected);
  }
  place.alerts.clear();
  for (KeptAlert& alert : record.alerts) {
    place.alerts.push_back({std::move(alert), Alert::Fate::safe, 0});
  }
  record.alerts = {};
  place.record = std::move(record);
  tellStanding(entry, false);
}

// Who looks there may have been put away meanwhile.
void Switchboard::missed(RelayID relay) { gone(relay); }

void Switchboard::gone(RelayID relay) {
  for (Entry& entry : places) {
    if (!entry.second.elsewhere) {
      continue;
    }
    std::vector<Neighbour>& relays = entry.second.elsewhere->relays;
    const auto left = std::ranges::find(relays, relay, &Neighbour::relay);
    if (left == relays.end()) {
      continue;
    }
    if (left->mac) {
      // It may have kept what it could not tell any more.
      rereads[entry.first] = time();
    }
    const LastAlerts pushed = std::move(left->pushed);
    changeElsewhere(entry, [&] { relays.erase(left); });
    pushUnseen(entry, pushed);
  }
}

/// Nobody may have seen what was told to those who were looking at another relay.
void Switchboard::pushUnseen(const Entry& entry, const LastAlerts& pushed) {
  const Place& place = entry.second;
  if (place.mac.peer == nullptr || pusher == nullptr) {
    return;
  }
  for (const Subscription& subscription : place.record->subscriptions) {
    const auto looking = pushed.find(endpointKey(subscription.endpoint));
    if (looking != pushed.end()) {
      pushUnseen(entry, subscription, limits.neighbourTime + std::chrono::seconds(1),
                 looking->second);
    }
  }
}

void Switchboard::cutOff() {
  for (Entry& entry : places) {
    if (!entry.second.elsewhere) {
      continue;
    }
    std::vector<Neighbour> left;
    changeElsewhere(entry, [&] { left.swap(entry.second.elsewhere->relays); });
    for (const Neighbour& each : left) {
      pushUnseen(entry, each.pushed);
    }
  }
}

void Switchboard::back() {
  // Several may come back one after the other: what is being said to one ends first.
  saysAgain = neighbours != nullptr;
}

/// So that everything has been said within some seconds, and no turn is long.
void Switchboard::sayAgain() {
  constexpr std::size_t least = 5000;
  walk(saying, std::max(least, places.size() / 3), [this](const Entry& entry) {
    tellStanding(entry, true);
    const Knowledge knowledge = entry.second.knowledge;
    if (knowledge == Knowledge::known || knowledge == Knowledge::unknown) {
      rereads.try_emplace(entry.first, time());
    }
  });
}

void Switchboard::expireElsewhere(Instant now) {
  constexpr int mostAskings = 5;
  if (!saying.isUnderWay && std::exchange(saysAgain, false)) {
    saying = {true};
  }
  if (saying.isUnderWay) {
    sayAgain();
  }
  for (auto next = heldPushes.begin(); next != heldPushes.end();) {
    const auto [identifier, until] = *next++;
    if (now >= until) {
      pushHeld(*places.find(identifier));
    }
  }
  for (const Identifier& identifier : std::exchange(missingPlaces, {})) {
    Entry& entry = *places.find(identifier);
    const Neighbour* const other = macElsewhere(entry.second);
    if (entry.second.mac.peer != nullptr || !entry.second.record ||
        (other != nullptr && other->last <= entry.second.record->lastNumber)) {
      continue;
    }
    if (other == nullptr || ++entry.second.elsewhere->askings > mostAskings) {
      rereads[identifier] = now;
    } else {
      tell(entry, {AlertsMissed{entry.second.record->lastNumber}});
      missingPlaces.insert(identifier);
    }
  }
  std::size_t left = limits.rereads;
  auto next = rereads.upper_bound(rereadUpTo);
  for (std::size_t unseen = rereads.size(); unseen > 0 && left > 0; --unseen) {
    next = next == rereads.end() ? rereads.begin() : next;
    const Place& place = places.find(next->first)->second;
    const bool isAsking = place.elsewhere->isReading || place.knowledge == Knowledge::asked ||
                          place.knowledge == Knowledge::claiming;
    if (now < next->second || isAsking) {
      ++next;
      continue;
    }
    // The answer may come before the call returns, and is posted then.
    rereadUpTo = next->first;
    next = rereads.erase(next);
    reread(*places.find(rereadUpTo));
    --left;
  }
}

void Switchboard::leaveNeighbours(const Entry& entry) {
  missingPlaces.erase(entry.first);
  rereads.erase(entry.first);
  heldPushes.erase(entry.first);
  if (entry.second.elsewhere->isTold) {
    tell(entry, {Standing{.last = entry.second.record ? entry.second.record->lastNumber : 0}});
  }
  neighbours->leave(entry.first);
}

}  // namespace orvik::relay
