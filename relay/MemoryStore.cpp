#include "relay/MemoryStore.h"

#include <algorithm>
#include <utility>

namespace orvik::relay {

namespace {

std::size_t memoryOfAlerts(const Record& record) {
  std::size_t bytes = 0;
  for (const KeptAlert& alert : record.alerts) {
    // With what the allocator and the places in lists add.
    bytes += alert.envelope->size() + 100;
  }
  return bytes;
}

std::size_t memoryOfSubscriptions(const Record& record) {
  std::size_t bytes = 0;
  for (const Subscription& subscription : record.subscriptions) {
    bytes += sizeof subscription + subscription.endpoint.size();
  }
  return bytes;
}

}  // namespace

MemoryStore::MemoryStore(const Limits& limits, std::shared_ptr<Clock> clock)
    : limits(limits),
      clock(std::move(clock)),
      first(firstNumber(epochSeconds(this->clock->unixNow()))) {}

void MemoryStore::find(const Identifier& identifier, std::function<void(Found)> then) {
  Found found = NoRecord();
  {
    const std::lock_guard guard(mutex);
    if (const Entry* const entry = use(identifier)) {
      found = entry->record;
    }
  }
  then(std::move(found));
}

void MemoryStore::claim(const Identifier& identifier, const TokenHash& token,
                        std::function<void(Claimed)> then) {
  Claimed answer;
  {
    const std::lock_guard guard(mutex);
    answer = claimed(identifier, token).record;
  }
  then(std::move(answer));
}

void MemoryStore::keep(const Identifier& identifier, const TokenHash& owner, KeptAlert alert,
                       std::function<void(bool isSafe)> then) {
  {
    const std::lock_guard guard(mutex);
    Record& record = claimed(identifier, owner).record;
    if (record.owner == owner && alertBytes + alert.envelope->size() <= limits.keptBytes / 2) {
      record.lastNumber = std::max(record.lastNumber, alert.number);
      change(record, [&] {
        // One that is tried again may be older than others.
        const auto place =
            std::ranges::lower_bound(record.alerts, alert.number, {}, &KeptAlert::number);
        record.alerts.insert(place, std::move(alert));
      });
      trim(record);
    }
  }
  then(false);
}

void MemoryStore::revoke(const Identifier& identifier, const TokenHash& owner,
                         std::function<void(bool isRevoked)> then) {
  {
    const std::lock_guard guard(mutex);
    if (Record& record = claimed(identifier, owner).record; record.owner == owner) {
      record.owner = TokenHash::ofNoToken();
      change(record, [&] {
        record.alerts.clear();
        record.subscriptions.clear();
      });
    }
  }
  then(true);
}

void MemoryStore::markTaken(const Identifier& identifier, std::uint64_t number) {
  const std::lock_guard guard(mutex);
  if (const auto entry = entries.find(identifier); entry != entries.end()) {
    entry->second.record.takenNumber = std::max(entry->second.record.takenNumber, number);
  }
}

void MemoryStore::subscribe(const Identifier& identifier, const TokenHash& owner,
                            Subscription subscription, std::function<void(bool isKept)> then) {
  bool isKept = false;
  {
    const std::lock_guard guard(mutex);
    Record& record = claimed(identifier, owner).record;
    isKept = record.owner == owner &&
             subscriptionBytes + subscription.endpoint.size() <= limits.keptBytes / 2;
    if (isKept) {
      change(record, [&] {
        std::erase_if(record.subscriptions, [&](const Subscription& each) {
          return each.endpoint == subscription.endpoint;
        });
        record.subscriptions.push_back(std::move(subscription));
      });
    }
  }
  then(isKept);
}

void MemoryStore::unsubscribe(const Identifier& identifier, const std::string& endpoint) {
  const std::lock_guard guard(mutex);
  if (const auto entry = entries.find(identifier); entry != entries.end()) {
    Record& record = entry->second.record;
    change(record, [&] {
      std::erase_if(record.subscriptions,
                    [&](const Subscription& each) { return each.endpoint == endpoint; });
    });
  }
}

StoreState MemoryStore::state() const {
  const std::lock_guard guard(mutex);
  StoreState state;
  state.subscriptions = subscriptions;
  return state;
}

MemoryStore::Entry* MemoryStore::use(const Identifier& identifier) {
  const auto entry = entries.find(identifier);
  if (entry == entries.end()) {
    return nullptr;
  }
  trim(entry->second.record);
  byUse.splice(byUse.end(), byUse, entry->second.use);
  return &entry->second;
}

MemoryStore::Entry& MemoryStore::claimed(const Identifier& identifier, const TokenHash& token) {
  if (Entry* const entry = use(identifier)) {
    return *entry;
  }
  if (entries.size() >= limits.records) {
    const auto oldest = entries.find(byUse.front());
    change(oldest->second.record, [&] {
      oldest->second.record.alerts.clear();
      oldest->second.record.subscriptions.clear();
    });
    entries.erase(oldest);
    byUse.pop_front();
  }
  const auto place = byUse.insert(byUse.end(), identifier);
  Record record{.owner = token, .lastNumber = first - 1};
  return entries.emplace(identifier, Entry{std::move(record), place}).first->second;
}

void MemoryStore::trim(Record& record) {
  change(record, [&] { record.trim(limits, epochSeconds(clock->unixNow())); });
}

template <typename Change>
void MemoryStore::change(Record& record, Change change) {
  alertBytes -= memoryOfAlerts(record);
  subscriptionBytes -= memoryOfSubscriptions(record);
  subscriptions -= record.subscriptions.size();
  change();
  alertBytes += memoryOfAlerts(record);
  subscriptionBytes += memoryOfSubscriptions(record);
  subscriptions += record.subscriptions.size();
}

}  // namespace orvik::relay
