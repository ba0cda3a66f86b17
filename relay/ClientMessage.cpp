#include "relay/ClientMessage.h"

#include <algorithm>

#include "core/values/Base64.h"
#include "core/values/JSONReader.h"
#include "core/values/SecretBytes.h"
#include "relay/push/Endpoint.h"
#include "relay/push/P256Key.h"

namespace orvik::relay {

namespace {

/// What a push service takes for a topic (RFC 8030, section 5.4).
constexpr std::size_t longestTopic = 32;

/// Fills all of `bytes` from a member in base64url; false when it is of another length.
bool read(const UntypedValue& object, std::string_view key, std::span<std::uint8_t> bytes) {
  const auto* const text = object.get<std::string>(key);
  const auto given = text == nullptr ? std::nullopt : bytesFromBase64URL(*text);
  if (!given || given->size() != bytes.size()) {
    return false;
  }
  std::ranges::copy(*given, bytes.begin());
  return true;
}

/// Takes the text of a member out of an object, so that no copy stays behind; empty without one.
SecretText takeText(UntypedValue& object, std::string_view key) {
  auto* const members = std::get_if<UntypedValue::Map>(&object.value);
  if (members == nullptr) {
    return {};
  }
  const auto found = members->find(key);
  auto* const text =
      found == members->end() ? nullptr : std::get_if<std::string>(&found->second.value);
  return text == nullptr ? SecretText() : SecretText(std::move(*text));
}

std::optional<Subscription> subscriptionIn(const UntypedValue& object, std::size_t longest) {
  const auto* const endpoint = object.get<std::string>("endpoint");
  Subscription subscription;
  if (endpoint == nullptr || !Endpoint::of(*endpoint, longest) ||
      !read(object, "p256dh", subscription.key) || !read(object, "auth", subscription.secret)) {
    return std::nullopt;
  }
  try {
    static_cast<void>(P256Key::fromPublic(subscription.key));
  } catch (const P256Key::Unusable&) {
    return std::nullopt;
  }
  subscription.endpoint = *endpoint;
  return subscription;
}

bool isTopic(std::string_view text) {
  constexpr std::string_view allowed =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
  return text.size() <= longestTopic && text.find_first_not_of(allowed) == std::string_view::npos;
}

}  // namespace

std::optional<Authentication> Authentication::in(std::string_view message) {
  UntypedValue object = readJSONOrNull(message);
  const SecretText text = takeText(object, "auth");
  auto found = bytesFromBase64URL(text.text());
  const WipedBytes token(found ? *std::move(found) : Bytes());
  if (token.bytes.size() != TokenHash::tokenSize ||
      SecretText(base64URL(token.bytes)).text() != text.text()) {
    return std::nullopt;
  }
  Authentication authentication{TokenHash(std::span(token.bytes).first<TokenHash::tokenSize>()),
                                {}};
  const auto* last = object.get<std::int64_t>("last");
  if (last != nullptr && *last >= 0) {
    authentication.last = static_cast<std::uint64_t>(*last);
  }
  return authentication;
}

std::optional<bool> activeIn(std::string_view message) {
  const UntypedValue object = readJSONOrNull(message);
  const auto* active = object.get<bool>("active");
  return active == nullptr ? std::nullopt : std::optional(*active);
}

std::optional<Subscribe> Subscribe::in(std::string_view message, std::size_t longestEndpoint) {
  const UntypedValue object = readJSONOrNull(message);
  const UntypedValue* const said = object.find("subscribe");
  if (said == nullptr) {
    return std::nullopt;
  }
  const auto* const replaces = said->get<std::string>("replaces");
  return Subscribe{subscriptionIn(*said, longestEndpoint), replaces == nullptr ? "" : *replaces};
}

std::optional<std::string> unsubscribeIn(std::string_view message) {
  const UntypedValue object = readJSONOrNull(message);
  const auto* const endpoint = object.get<std::string>("unsubscribe");
  return endpoint == nullptr ? std::nullopt : std::optional(*endpoint);
}

std::optional<AlertMark> AlertMark::in(std::string_view message) {
  // No envelope with something in it is as short, and none is read for this.
  constexpr std::size_t longest = 100;
  if (message.size() > longest) {
    return std::nullopt;
  }
  const UntypedValue object = readJSONOrNull(message);
  const UntypedValue* const next = object.find("next");
  if (next == nullptr) {
    return std::nullopt;
  }
  AlertMark mark;
  if (const auto* topic = next->get<std::string>("topic"); topic != nullptr && isTopic(*topic)) {
    mark.topic = *topic;
  }
  if (const auto* urgent = next->get<bool>("urgent")) {
    mark.isUrgent = *urgent;
  }
  return mark;
}

bool isAlert(std::string_view message) {
  // Reading each sample to its end would cost more than forwarding it.
  if (message.find(R"("a")") == std::string_view::npos) {
    return false;
  }
  const UntypedValue object = readJSONOrNull(message);
  const auto* kind = object.get<std::string>("t");
  return kind != nullptr && *kind == "a";
}

bool isRevocation(std::string_view message) {
  // No envelope is as short, and none is read for this.
  constexpr std::size_t longest = 64;
  const auto value = message.size() <= longest ? readJSONOrNull(message) : UntypedValue();
  const auto* revoked = value.get<bool>("revoked");
  return revoked != nullptr && *revoked;
}

}  // namespace orvik::relay
