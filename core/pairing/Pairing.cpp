#include "core/pairing/Pairing.h"

#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/params.h>
#include <openssl/rand.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "core/BuildConstants.h"
#include "core/pairing/Base64URL.h"
#include "core/values/Text.h"

namespace orvik {

namespace {

[[noreturn]] void stop(const char* message) {
  std::fprintf(stderr, "%s\n", message);
  std::abort();
}

/// RFC 3986's unreserved characters: these stand in the link as they are.
constexpr std::string_view urlUnreserved =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";

std::string percentEncoded(std::string_view text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string out;
  for (const char c : text) {
    if (urlUnreserved.find(c) != std::string_view::npos) {
      out.push_back(c);
    } else {
      const auto byte = static_cast<unsigned char>(c);
      out.push_back('%');
      out.push_back(digits[byte >> 4U]);
      out.push_back(digits[byte & 0xFU]);
    }
  }
  return out;
}

struct FreeKDF {
  void operator()(EVP_KDF* kdf) const { EVP_KDF_free(kdf); }
  void operator()(EVP_KDF_CTX* context) const { EVP_KDF_CTX_free(context); }
};

/// Looked up once: finding an algorithm by name takes longer than a derivation.
EVP_KDF* hkdf() {
  static const std::unique_ptr<EVP_KDF, FreeKDF> kdf(EVP_KDF_fetch(nullptr, "HKDF", nullptr));
  return kdf.get();
}

OSSL_PARAM octets(const char* key, ByteView bytes) {
  // No bytes need an address too: null would say that there is no such parameter. The list is
  // not const in OpenSSL's interface, and is only read.
  static const std::uint8_t none = 0;
  const std::uint8_t* const data = bytes.empty() ? &none : bytes.data();
  return OSSL_PARAM_construct_octet_string(key, const_cast<std::uint8_t*>(data), bytes.size());
}

}  // namespace

void wipe(void* memory, std::size_t size) noexcept { OPENSSL_cleanse(memory, size); }

void hkdfSHA256(ByteView inputKey, ByteView salt, ByteView info, std::span<std::uint8_t> output) {
  const std::unique_ptr<EVP_KDF_CTX, FreeKDF> context(EVP_KDF_CTX_new(hkdf()));
  std::string digest = "SHA256";
  const std::array<OSSL_PARAM, 5> parameters = {
      OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, digest.data(), digest.size()),
      octets(OSSL_KDF_PARAM_KEY, inputKey), octets(OSSL_KDF_PARAM_SALT, salt),
      octets(OSSL_KDF_PARAM_INFO, info), OSSL_PARAM_construct_end()};
  if (context == nullptr ||
      EVP_KDF_derive(context.get(), output.data(), output.size(), parameters.data()) != 1) {
    stop("key derivation failed");
  }
}

Bytes randomBytes(std::size_t count) {
  Bytes bytes(count);
  if (count > INT_MAX || RAND_bytes(bytes.data(), static_cast<int>(count)) != 1) {
    stop("the system's random generator failed");
  }
  return bytes;
}

Pairing::Pairing(ByteView id, ByteView sharedSecret) {
  if (id.size() != macIdSize || sharedSecret.size() != secretSize) {
    stop("a pairing takes an identifier of 16 bytes and a secret of 32");
  }
  std::ranges::copy(id, macId.begin());
  secret = SecretBytes<secretSize>(sharedSecret.first<secretSize>());
}

Pairing Pairing::generate() {
  const Bytes id = randomBytes(macIdSize);
  Bytes fresh = randomBytes(secretSize);
  Pairing pairing(id, fresh);
  wipe(fresh.data(), fresh.size());
  return pairing;
}

SymmetricKey Pairing::derive(std::string_view label) const {
  SymmetricKey key;
  hkdfSHA256(secret.data(), macId, bytesOf(label), key.data());
  return key;
}

SymmetricKey Pairing::encKey() const { return derive("orvik enc v1"); }
SymmetricKey Pairing::authKey() const { return derive("orvik auth v1"); }

std::string Pairing::link(std::string_view macName) const {
  std::string link = "https://";
  link += build::pairingHost;
  link += "/orvik/p#1.";
  link += base64URL(macId);
  link += '.';
  link += base64URL(secret.data());
  link += '.';
  if (isValidUTF8(macName)) {
    link += percentEncoded(macName);
  }
  return link;
}

}  // namespace orvik
