#include "relay/cluster/RelayMessage.h"

#include <openssl/sha.h>

#include <algorithm>
#include <array>
#include <span>
#include <utility>

#include "core/values/Base64.h"
#include "core/values/JSONReader.h"
#include "core/values/JSONValue.h"
#include "core/values/Text.h"

namespace orvik::relay {

namespace {

constexpr std::size_t keyBytes = 16;
constexpr std::size_t keyLength = 22;

/// False when it is there and no number of 53 bits.
bool read(const UntypedValue& object, std::string_view key, std::uint64_t& number) {
  const UntypedValue* const member = object.find(key);
  if (member == nullptr) {
    return true;
  }
  const auto* const value = member->get<std::int64_t>();
  if (value == nullptr || *value < 0 || *value >= std::int64_t{1} << 53) {
    return false;
  }
  number = static_cast<std::uint64_t>(*value);
  return true;
}

/// The same for one that has to fit.
bool read(const UntypedValue& object, std::string_view key, std::uint32_t& number) {
  std::uint64_t wide = number;
  const bool fits = read(object, key, wide) && wide <= UINT32_MAX;
  number = fits ? static_cast<std::uint32_t>(wide) : number;
  return fits;
}

JSONValue number(std::uint64_t value) { return static_cast<std::int64_t>(value); }

std::optional<Standing::Mac> macIn(const UntypedValue& value) {
  Standing::Mac mac;
  if (!read(value, "epoch", mac.epoch) || !read(value, "age", mac.age) ||
      !read(value, "safe", mac.safe) || mac.epoch == 0 || mac.epoch > Standing::Mac::highestEpoch) {
    return std::nullopt;
  }
  return mac;
}

bool readLooking(const UntypedValue& value, std::vector<std::string>& looking) {
  const UntypedValue* const member = value.find("looking");
  if (member == nullptr) {
    return true;
  }
  const auto* const keys = member->get<UntypedValue::List>();
  if (keys == nullptr || keys->size() > Standing::mostLooking) {
    return false;
  }
  for (const UntypedValue& each : *keys) {
    const auto* const key = each.get<std::string>();
    if (key == nullptr || key->size() != keyLength) {
      return false;
    }
    looking.push_back(*key);
  }
  return true;
}

std::optional<Standing> standingIn(const UntypedValue& value) {
  Standing standing;
  if (const UntypedValue* const mac = value.find("mac")) {
    standing.mac = macIn(*mac);
    if (!standing.mac) {
      return std::nullopt;
    }
  }
  if (!read(value, "phones", standing.phones) || !read(value, "active", standing.active) ||
      !read(value, "last", standing.last) || !read(value, "taken", standing.taken) ||
      !readLooking(value, standing.looking) || standing.phones > Standing::mostPhones ||
      standing.active > standing.phones) {
    return std::nullopt;
  }
  const auto* const asks = value.get<bool>("asks");
  standing.asks = asks != nullptr && *asks;
  return standing;
}

std::optional<RelayMessage> messageIn(const UntypedValue& head,
                                      std::optional<std::string_view> envelope) {
  if (envelope) {
    ToldAlert alert{.mark = AlertMark::of(head), .envelope = *envelope};
    std::uint64_t keptAt = 0;
    if (!read(head, "alert", alert.number) || !read(head, "after", alert.after) ||
        !read(head, "keptAt", keptAt) || !read(head, "by", alert.by) ||
        alert.number <= alert.after || !isValidUTF8(*envelope)) {
      return std::nullopt;
    }
    alert.keptAt = static_cast<std::int64_t>(keptAt);
    return RelayMessage{alert};
  }
  if (const UntypedValue* const serves = head.find("serves")) {
    auto standing = standingIn(*serves);
    return standing ? std::optional(RelayMessage{*std::move(standing)}) : std::nullopt;
  }
  if (AlertsMissed missed; head.find("missed") != nullptr && read(head, "missed", missed.after)) {
    return RelayMessage{missed};
  }
  if (const auto* const changed = head.get<bool>("changed"); changed != nullptr && *changed) {
    return RelayMessage{RecordChanged()};
  }
  return std::nullopt;
}

JSONObject objectOf(const Standing& standing) {
  JSONObject object{{"phones", number(standing.phones)}, {"last", number(standing.last)}};
  if (standing.mac) {
    object.set("mac", JSONObject{{"epoch", number(standing.mac->epoch)},
                                 {"age", number(standing.mac->age)},
                                 {"safe", number(standing.mac->safe)}});
  }
  if (standing.active > 0) {
    object.set("active", number(standing.active));
  }
  if (!standing.looking.empty()) {
    JSONValue::Array keys;
    std::ranges::copy(standing.looking, std::back_inserter(keys));
    object.set("looking", std::move(keys));
  }
  if (standing.taken > 0) {
    object.set("taken", number(standing.taken));
  }
  if (standing.asks) {
    object.set("asks", true);
  }
  return object;
}

std::string written(JSONObject object) { return JSONValue(std::move(object)).text(); }

std::string withEnvelope(std::string head, std::string_view envelope) {
  head.reserve(head.size() + 1 + envelope.size());
  return head.append(1, '\n').append(envelope);
}

}  // namespace

std::optional<RelayMessage> RelayMessage::in(std::string_view text) {
  // Samples are most of it, and nothing of them is read.
  if (isEnvelope(text) && text.size() <= longest) {
    const std::string_view envelope = text.substr(1);
    // Clients end a connection over anything else.
    return isValidUTF8(envelope) ? std::optional(RelayMessage{ToldEnvelope{envelope}})
                                 : std::nullopt;
  }
  const std::size_t end = text.substr(0, longestHead + 1).find('\n');
  const std::string_view head = text.substr(0, end);
  if (head.size() > longestHead || text.size() > longest) {
    return std::nullopt;
  }
  return messageIn(readJSONOrNull(head), end == std::string_view::npos
                                             ? std::nullopt
                                             : std::optional(text.substr(end + 1)));
}

std::string RelayMessage::text() const {
  struct Writer {
    std::string operator()(const Standing& standing) const {
      return written({{"serves", objectOf(standing)}});
    }
    std::string operator()(const ToldEnvelope& told) const { return withEnvelope("", told.text); }
    std::string operator()(const ToldAlert& told) const {
      JSONObject head{
          {"alert", number(told.number)}, {"after", number(told.after)}, {"keptAt", told.keptAt}};
      if (told.by != 0) {
        head.set("by", number(told.by));
      }
      if (!told.mark.topic.empty()) {
        head.set("topic", told.mark.topic);
      }
      if (!told.mark.isUrgent) {
        head.set("urgent", false);
      }
      return withEnvelope(written(std::move(head)), told.envelope);
    }
    std::string operator()(const AlertsMissed& missed) const {
      return written({{"missed", number(missed.after)}});
    }
    std::string operator()(const RecordChanged&) const { return written({{"changed", true}}); }
  };
  return std::visit(Writer(), said);
}

std::string endpointKey(std::string_view endpoint) {
  std::array<std::uint8_t, SHA256_DIGEST_LENGTH> digest{};
  SHA256(reinterpret_cast<const std::uint8_t*>(endpoint.data()), endpoint.size(), digest.data());
  return base64URL(std::span(digest).first<keyBytes>());
}

}  // namespace orvik::relay
