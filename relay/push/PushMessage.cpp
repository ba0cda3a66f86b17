#include "relay/push/PushMessage.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <array>
#include <stdexcept>

#include "core/values/Base64.h"
#include "core/values/JSONValue.h"
#include "relay/push/PushEncryption.h"

namespace orvik::relay {

std::string pushMessage(const PushedAlert& alert) {
  // RFC 8030, as browsers mark such messages.
  constexpr std::int64_t declarative = 8030;
  const std::string mac = base64URL(alert.mac);
  const std::string number = std::to_string(alert.number);
  const auto message = [&](JSONObject data) {
    return JSONValue(JSONObject{{"web_push", declarative},
                                {"mutable", true},
                                {"notification",
                                 JSONObject{{"title", "Orvik"},
                                            {"navigate", "/orvik/p?c=" + mac},
                                            {"tag", alert.topic.empty() ? mac + "." + number
                                                                        : alert.topic},
                                            {"data", std::move(data)}}}})
        .text();
  };
  JSONObject data{{"mac", mac}, {"number", static_cast<std::int64_t>(alert.number)}};
  JSONObject whole = data;
  whole.set("envelope", alert.envelope->text());
  std::string text = message(std::move(whole));
  return text.size() <= PushEncryption::longestText ? text : message(std::move(data));
}

std::string pushTopic(const PushedAlert& alert, const Subscription& to) {
  if (alert.topic.empty()) {
    return {};
  }
  const ByteView topic = bytesOf(alert.topic);
  std::array<std::uint8_t, 32> hash{};
  unsigned size = hash.size();
  if (HMAC(EVP_sha256(), to.secret.data(), static_cast<int>(to.secret.size()), topic.data(),
           topic.size(), hash.data(), &size) == nullptr) {
    throw std::runtime_error("a topic cannot be hashed");
  }
  // 22 characters, of 32 that a topic may have.
  constexpr std::size_t topicBytes = 16;
  return base64URL(std::span(hash).first(topicBytes));
}

}  // namespace orvik::relay
