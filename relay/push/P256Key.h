#pragma once

#include <openssl/evp.h>

#include <array>
#include <stdexcept>
#include <string>
#include <string_view>

#include "core/values/Bytes.h"
#include "core/values/SecretBytes.h"
#include "relay/OpenSSLHandle.h"

namespace orvik::relay {

/// A key pair on the curve P-256, or the public half of one.
class P256Key {
 public:
  /// An uncompressed point.
  using Public = std::array<std::uint8_t, 65>;
  /// r, then s (RFC 7518, section 3.4).
  using Signature = std::array<std::uint8_t, 64>;

  /// The bytes are no key of this curve, or the library failed.
  struct Unusable : std::runtime_error {
    using std::runtime_error::runtime_error;
  };

  [[nodiscard]] static P256Key generate();
  /// Throws Unusable when it is no point of the curve.
  [[nodiscard]] static P256Key fromPublic(const Public& point);
  /// A private key, without a passphrase. Throws Unusable.
  [[nodiscard]] static P256Key fromPEM(std::string_view pem);

  [[nodiscard]] Public publicKey() const;
  /// What only the owners of both key pairs can compute (ECDH). Throws Unusable.
  [[nodiscard]] SecretBytes<32> agree(const P256Key& other) const;
  /// ES256. Throws Unusable.
  [[nodiscard]] Signature sign(std::string_view text) const;
  [[nodiscard]] std::string pem() const;

 private:
  using Handle = OpenSSLHandle<EVP_PKEY, EVP_PKEY_free>;
  explicit P256Key(Handle key) : handle(std::move(key)) {}

  Handle handle;
};

}  // namespace orvik::relay
