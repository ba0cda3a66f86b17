#include "relay/ClientMessage.h"

#include "core/values/Base64.h"
#include "core/values/JSONReader.h"

namespace orvik::relay {

std::optional<Authentication> Authentication::in(std::string_view message) {
  const UntypedValue object = readJSONOrNull(message);
  const auto* text = object.get<std::string>("auth");
  if (text == nullptr) {
    return std::nullopt;
  }
  const std::optional<Bytes> token = bytesFromBase64URL(*text);
  if (!token || token->size() != TokenHash::tokenSize || base64URL(*token) != *text) {
    return std::nullopt;
  }
  Authentication authentication{TokenHash(std::span(*token).first<TokenHash::tokenSize>()), {}};
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
