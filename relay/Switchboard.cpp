#include "relay/Switchboard.h"

#include <algorithm>

#include "core/values/JSONValue.h"

namespace orvik::relay {

namespace {

SharedText sharedText(const JSONValue& value) { return framedText(value.text()); }

SharedText macState(bool connected) { return sharedText(JSONObject{{"mac", connected}}); }

}  // namespace

bool Switchboard::macArrived(const Identifier& identifier, const TokenHash& token, Peer& mac) {
  auto entry = records.find(identifier);
  if (entry == records.end()) {
    entry = claim(identifier, token);
    if (entry == records.end()) {
      mac.close(CloseReason::tooManyMacs);
      return false;
    }
  }
  Record& record = entry->second;
  if (record.owner != token) {
    mac.close(CloseReason::pairingRejected);
    return false;
  }
  Peer* const previous = std::exchange(record.mac, &mac);
  if (previous != nullptr) {
    previous->close(CloseReason::replaced);
  } else {
    tellPhones(record);
  }
  releaseHeldPhones(*entry);
  updateIdle(*entry);
  tellMac(record);
  return true;
}

bool Switchboard::phoneArrived(const Identifier& identifier, const TokenHash& token, Peer& phone,
                               Instant now) {
  const auto entry = records.find(identifier);
  if (entry == records.end()) {
    std::vector<HeldPhone>& waiting = held[identifier];
    if (waiting.size() >= limits.heldPhonesPerMac || heldCount >= limits.heldPhones) {
      if (waiting.empty()) {
        held.erase(identifier);
      }
      phone.close(CloseReason::tooManyPhones);
      return false;
    }
    waiting.push_back({{&phone, false}, token, now + limits.holdTime});
    ++heldCount;
    return true;
  }
  Record& record = entry->second;
  if (record.owner != token) {
    phone.close(CloseReason::pairingRejected);
    return false;
  }
  if (record.phones.size() >= limits.phonesPerMac) {
    phone.close(CloseReason::tooManyPhones);
    return false;
  }
  record.phones.push_back({&phone, false});
  updateIdle(*entry);
  phone.send(macState(record.mac != nullptr));
  for (SharedText& alert : keptAlerts.take(identifier, now)) {
    phone.send(std::move(alert));
  }
  tellMac(record);
  return true;
}

void Switchboard::forward(const Identifier& identifier, const Peer& mac, const SharedText& message,
                          Instant now) {
  const auto entry = records.find(identifier);
  if (entry == records.end() || entry->second.mac != &mac) {
    return;
  }
  if (entry->second.phones.empty()) {
    keptAlerts.keep(identifier, message, now);
  }
  for (const Phone& phone : entry->second.phones) {
    phone.peer->send(message);
  }
}

void Switchboard::setActive(const Identifier& identifier, const Peer& phone, bool active) {
  if (const auto entry = records.find(identifier); entry != records.end()) {
    Record& record = entry->second;
    const auto place = std::ranges::find(record.phones, &phone, &Phone::peer);
    if (place != record.phones.end() && place->active != active) {
      place->active = active;
      tellMac(record);
    }
  } else if (const auto waiting = held.find(identifier); waiting != held.end()) {
    for (HeldPhone& heldPhone : waiting->second) {
      if (heldPhone.phone.peer == &phone) {
        heldPhone.phone.active = active;
      }
    }
  }
}

void Switchboard::left(const Identifier& identifier, const Peer& peer) {
  if (const auto entry = records.find(identifier); entry != records.end()) {
    Record& record = entry->second;
    if (record.mac == &peer) {
      record.mac = nullptr;
      tellPhones(record);
    } else if (std::erase_if(record.phones,
                             [&](const Phone& phone) { return phone.peer == &peer; }) > 0) {
      tellMac(record);
    }
    updateIdle(*entry);
  } else if (const auto waiting = held.find(identifier); waiting != held.end()) {
    heldCount -= std::erase_if(waiting->second,
                               [&](const HeldPhone& phone) { return phone.phone.peer == &peer; });
    if (waiting->second.empty()) {
      held.erase(waiting);
    }
  }
}

void Switchboard::expire(Instant now) {
  keptAlerts.expire(now);
  for (auto& [identifier, waiting] : held) {
    heldCount -= std::erase_if(waiting, [now](const HeldPhone& phone) {
      const bool over = now >= phone.until;
      if (over) {
        phone.phone.peer->close(CloseReason::macAbsent);
      }
      return over;
    });
  }
  std::erase_if(held, [](const auto& place) { return place.second.empty(); });
}

Switchboard::Records::iterator Switchboard::claim(const Identifier& identifier,
                                                  const TokenHash& token) {
  if (records.size() >= limits.records) {
    if (idle.empty()) {
      return records.end();
    }
    keptAlerts.forget(idle.front());
    records.erase(idle.front());
    idle.pop_front();
  }
  return records.emplace(identifier, Record{token, idle.end()}).first;
}

void Switchboard::releaseHeldPhones(Records::value_type& entry) {
  const auto waiting = held.find(entry.first);
  if (waiting == held.end()) {
    return;
  }
  Record& record = entry.second;
  heldCount -= waiting->second.size();
  for (const HeldPhone& heldPhone : waiting->second) {
    Peer& peer = *heldPhone.phone.peer;
    if (heldPhone.token != record.owner) {
      peer.close(CloseReason::pairingRejected);
    } else if (record.phones.size() >= limits.phonesPerMac) {
      peer.close(CloseReason::tooManyPhones);
    } else {
      record.phones.push_back(heldPhone.phone);
      peer.send(macState(true));
    }
  }
  held.erase(waiting);
}

void Switchboard::updateIdle(Records::value_type& entry) {
  Record& record = entry.second;
  const bool isIdle = record.mac == nullptr && record.phones.empty();
  if (isIdle && record.idlePlace == idle.end()) {
    record.idlePlace = idle.insert(idle.end(), entry.first);
  } else if (!isIdle && record.idlePlace != idle.end()) {
    idle.erase(std::exchange(record.idlePlace, idle.end()));
  }
}

void Switchboard::tellMac(const Record& record) {
  if (record.mac != nullptr) {
    const auto active = std::ranges::count(record.phones, true, &Phone::active);
    record.mac->send(sharedText(JSONObject{
        {"viewers", static_cast<std::int64_t>(record.phones.size())}, {"active", active}}));
  }
}

void Switchboard::tellPhones(const Record& record) {
  if (record.phones.empty()) {
    return;
  }
  const SharedText message = macState(record.mac != nullptr);
  for (const Phone& phone : record.phones) {
    phone.peer->send(message);
  }
}

}  // namespace orvik::relay
