#include "relay/KeptAlerts.h"

#include <algorithm>
#include <iterator>

#include "relay/ClientMessage.h"

namespace orvik::relay {

namespace {

/// What an alert takes in memory: its text, and its places in the lists with what the allocator
/// adds, which is 400 bytes for the only one of its Mac.
std::size_t memoryOf(const SharedText& alert) { return alert->size() + 400; }

}  // namespace

void KeptAlerts::keep(const Identifier& identifier, const SharedText& message, Instant now) {
  if (message->size() > limits.keptAlertBytes || !isAlert(message->text())) {
    return;
  }
  bytes += memoryOf(message);
  all.push_back({identifier, message, now + limits.keptAlertTime});
  auto& kept = ofMac[identifier];
  kept.push_back(std::prev(all.end()));
  if (kept.size() > limits.keptAlertsPerMac) {
    drop(kept.front());
  }
  while (bytes > limits.keptBytes) {
    drop(all.begin());
  }
}

std::vector<SharedText> KeptAlerts::take(const Identifier& identifier, Instant now) {
  expire(now);
  std::vector<SharedText> taken;
  if (const auto kept = ofMac.find(identifier); kept != ofMac.end()) {
    std::ranges::transform(kept->second, std::back_inserter(taken),
                           [](List::iterator entry) { return entry->alert; });
    forget(identifier);
  }
  return taken;
}

void KeptAlerts::forget(const Identifier& identifier) {
  for (auto kept = ofMac.find(identifier); kept != ofMac.end(); kept = ofMac.find(identifier)) {
    drop(kept->second.front());
  }
}

void KeptAlerts::expire(Instant now) {
  while (!all.empty() && now >= all.front().until) {
    drop(all.begin());
  }
}

void KeptAlerts::drop(List::iterator kept) {
  // Of the alerts of one Mac, too, the oldest always goes first.
  const auto place = ofMac.find(kept->identifier);
  place->second.pop_front();
  if (place->second.empty()) {
    ofMac.erase(place);
  }
  bytes -= memoryOf(kept->alert);
  all.erase(kept);
}

}  // namespace orvik::relay
