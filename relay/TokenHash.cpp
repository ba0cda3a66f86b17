#include "relay/TokenHash.h"

#include <openssl/crypto.h>
#include <openssl/sha.h>

namespace orvik::relay {

TokenHash::TokenHash(std::span<const std::uint8_t, tokenSize> token) {
  SHA256(token.data(), token.size(), digest.data());
}

bool TokenHash::operator==(const TokenHash& other) const noexcept {
  return CRYPTO_memcmp(digest.data(), other.digest.data(), digest.size()) == 0;
}

}  // namespace orvik::relay
