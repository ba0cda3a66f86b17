#include "core/pairing/RetiredPairing.h"

#include <algorithm>

#include "core/values/Base64.h"

namespace orvik {

SecretText RetiredPairing::text() const {
  std::string text;
  text.reserve(80);
  appendBase64URL(id, text);
  text += ' ';
  appendBase64URL(authKey.data(), text);
  return SecretText(std::move(text));
}

std::optional<RetiredPairing> RetiredPairing::from(std::string_view text) {
  const std::size_t blank = std::min(text.find(' '), text.size());
  const auto macId = bytesFromBase64URL(text.substr(0, blank));
  auto found = bytesFromBase64URL(text.substr(std::min(blank + 1, text.size())));
  const WipedBytes key(found ? *std::move(found) : Bytes());
  RetiredPairing retired;
  const bool isOne = macId && macId->size() == retired.id.size() &&
                     key.bytes.size() == retired.authKey.data().size();
  if (isOne) {
    std::ranges::copy(*macId, retired.id.begin());
    std::ranges::copy(key.bytes, retired.authKey.data().begin());
  }
  return isOne ? std::optional(retired) : std::nullopt;
}

}  // namespace orvik
