#include "relay/cluster/StoredRecord.h"

#include <algorithm>
#include <utility>

#include "core/values/Base64.h"
#include "core/values/JSONReader.h"
#include "core/values/JSONValue.h"
#include "relay/ClientMessage.h"

namespace orvik::relay {

namespace {

constexpr std::int64_t version = 1;

/// Whether the member is there, in base64url, with the size of `to`.
template <std::size_t size>
bool readBytes(const UntypedValue& object, std::string_view key,
               std::array<std::uint8_t, size>& to) {
  const auto* const text = object.get<std::string>(key);
  const auto bytes = text == nullptr ? std::nullopt : bytesFromBase64URL(*text);
  if (!bytes || bytes->size() != size) {
    return false;
  }
  std::ranges::copy(*bytes, to.begin());
  return true;
}

bool readNumber(const UntypedValue& object, std::string_view key, std::uint64_t& to) {
  const auto* const number = object.get<std::int64_t>(key);
  if (number == nullptr || *number < 0) {
    return false;
  }
  to = static_cast<std::uint64_t>(*number);
  return true;
}

bool readTime(const UntypedValue& object, std::string_view key, std::int64_t& to) {
  const auto* const time = object.get<std::int64_t>(key);
  to = time == nullptr ? 0 : *time;
  return time != nullptr;
}

std::optional<KeptAlert> keptAlertIn(const UntypedValue& object, const Limits& limits) {
  KeptAlert alert;
  const auto* const envelope = object.get<std::string>("envelope");
  if (!readNumber(object, "number", alert.number) || !readTime(object, "kept", alert.keptAt) ||
      envelope == nullptr || envelope->size() > limits.keptAlertBytes || !isAlert(*envelope)) {
    return std::nullopt;
  }
  alert.envelope = framedText(*envelope);
  return alert;
}

std::optional<Subscription> keptSubscriptionIn(const UntypedValue& object, const Limits& limits) {
  Subscription subscription;
  const auto* const endpoint = object.get<std::string>("endpoint");
  if (endpoint == nullptr || endpoint->size() > limits.endpointBytes ||
      !readBytes(object, "key", subscription.key) ||
      !readBytes(object, "secret", subscription.secret) ||
      !readTime(object, "used", subscription.usedAt)) {
    return std::nullopt;
  }
  subscription.endpoint = *endpoint;
  return subscription;
}

template <typename Item, typename Read>
std::vector<Item> itemsIn(const UntypedValue& object, std::string_view key, const Limits& limits,
                          Read read) {
  std::vector<Item> items;
  if (const auto* const list = object.get<UntypedValue::List>(key)) {
    for (const UntypedValue& each : *list) {
      if (auto item = read(each, limits)) {
        items.push_back(*std::move(item));
      }
    }
  }
  return items;
}

}  // namespace

std::optional<StoredRecord> StoredRecord::in(std::string_view text, const Limits& limits) {
  const UntypedValue object = readJSONOrNull(text);
  const auto* const written = object.get<std::int64_t>("version");
  TokenHash::Digest owner{};
  std::uint64_t lastNumber = 0;
  std::uint64_t takenNumber = 0;
  std::int64_t usedAt = 0;
  if (written == nullptr || *written != version || !readBytes(object, "owner", owner) ||
      !readNumber(object, "last", lastNumber) || !readNumber(object, "taken", takenNumber) ||
      !readTime(object, "used", usedAt)) {
    return std::nullopt;
  }
  Record record{
      .owner = TokenHash::from(owner), .lastNumber = lastNumber, .takenNumber = takenNumber};
  record.alerts = itemsIn<KeptAlert>(object, "alerts", limits, keptAlertIn);
  std::ranges::sort(record.alerts, {}, &KeptAlert::number);
  record.subscriptions = itemsIn<Subscription>(object, "subscriptions", limits, keptSubscriptionIn);
  return StoredRecord{std::move(record), usedAt};
}

std::string StoredRecord::text() const {
  const auto number = [](std::uint64_t value) { return static_cast<std::int64_t>(value); };
  JSONValue::Array alerts;
  for (const KeptAlert& each : record.alerts) {
    alerts.push_back(JSONObject{{"envelope", each.envelope->text()},
                                {"kept", each.keptAt},
                                {"number", number(each.number)}});
  }
  JSONValue::Array subscriptions;
  for (const Subscription& each : record.subscriptions) {
    subscriptions.push_back(JSONObject{{"endpoint", each.endpoint},
                                       {"key", base64URL(each.key)},
                                       {"secret", base64URL(each.secret)},
                                       {"used", each.usedAt}});
  }
  const JSONValue object = JSONObject{{"alerts", std::move(alerts)},
                                      {"last", number(record.lastNumber)},
                                      {"owner", base64URL(record.owner.bytes())},
                                      {"subscriptions", std::move(subscriptions)},
                                      {"taken", number(record.takenNumber)},
                                      {"used", usedAt},
                                      {"version", version}};
  return object.text();
}

}  // namespace orvik::relay
