#include "relay/ClientMessage.h"

#include "core/values/Base64.h"
#include "core/values/JSONReader.h"

namespace orvik::relay {

namespace {

/// One member of a message's object; other members are ignored.
template <typename Case>
std::optional<Case> memberIn(std::string_view message, std::string_view key) {
  try {
    const UntypedValue value = readJSON(message);
    const UntypedValue* member = value.find(key);
    const Case* content = member == nullptr ? nullptr : member->get<Case>();
    return content == nullptr ? std::nullopt : std::optional<Case>(*content);
  } catch (const JSONError&) {
    return std::nullopt;
  }
}

}  // namespace

std::optional<TokenHash> tokenIn(std::string_view message) {
  const std::optional<std::string> text = memberIn<std::string>(message, "auth");
  if (!text) {
    return std::nullopt;
  }
  const std::optional<Bytes> token = bytesFromBase64URL(*text);
  if (!token || token->size() != TokenHash::tokenSize || base64URL(*token) != *text) {
    return std::nullopt;
  }
  return TokenHash(std::span(*token).first<TokenHash::tokenSize>());
}

std::optional<bool> activeIn(std::string_view message) { return memberIn<bool>(message, "active"); }

bool isAlert(std::string_view message) { return memberIn<std::string>(message, "t") == "a"; }

}  // namespace orvik::relay
