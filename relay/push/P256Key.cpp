#include "relay/push/P256Key.h"

#include <openssl/bio.h>
#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/pem.h>

#include <algorithm>

namespace orvik::relay {

namespace {

using Context = OpenSSLHandle<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;
using DigestContext = OpenSSLHandle<EVP_MD_CTX, EVP_MD_CTX_free>;
using Memory = OpenSSLHandle<BIO, BIO_free>;

constexpr const char* curve = "P-256";

void require(bool succeeded, const char* what) {
  if (!succeeded) {
    throw P256Key::Unusable(what);
  }
}

bool isP256(const EVP_PKEY& key) {
  std::array<char, 32> name{};
  std::size_t size = 0;
  return EVP_PKEY_get_utf8_string_param(&key, OSSL_PKEY_PARAM_GROUP_NAME, name.data(), name.size(),
                                        &size) == 1 &&
         std::string_view(name.data(), size) == "prime256v1";
}

}  // namespace

P256Key P256Key::generate() {
  Handle key(EVP_EC_gen(curve));
  require(key != nullptr, "cannot make a key");
  return P256Key(std::move(key));
}

P256Key P256Key::fromPublic(const Public& point) {
  std::string group = curve;
  Public bytes = point;
  std::array parameters{
      OSSL_PARAM_construct_utf8_string(OSSL_PKEY_PARAM_GROUP_NAME, group.data(), group.size()),
      OSSL_PARAM_construct_octet_string(OSSL_PKEY_PARAM_PUB_KEY, bytes.data(), bytes.size()),
      OSSL_PARAM_construct_end()};
  const Context context(EVP_PKEY_CTX_new_from_name(nullptr, "EC", nullptr));
  EVP_PKEY* made = nullptr;
  require(context != nullptr && EVP_PKEY_fromdata_init(context.get()) == 1 &&
              EVP_PKEY_fromdata(context.get(), &made, EVP_PKEY_PUBLIC_KEY, parameters.data()) == 1,
          "no point of P-256");
  return P256Key(Handle(made));
}

P256Key P256Key::fromPEM(std::string_view pem) {
  const Memory memory(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
  // Without a callback it would ask for a passphrase at the terminal.
  const auto noPassphrase = [](char*, int, int, void*) { return -1; };
  Handle key(memory == nullptr
                 ? nullptr
                 : PEM_read_bio_PrivateKey(memory.get(), nullptr, noPassphrase, nullptr));
  require(key != nullptr && isP256(*key), "no private key of P-256");
  return P256Key(std::move(key));
}

P256Key::Public P256Key::publicKey() const {
  Public point{};
  std::size_t size = 0;
  require(EVP_PKEY_get_octet_string_param(handle.get(), OSSL_PKEY_PARAM_PUB_KEY, point.data(),
                                          point.size(), &size) == 1 &&
              size == point.size(),
          "a key without its public half");
  return point;
}

SecretBytes<32> P256Key::agree(const P256Key& other) const {
  SecretBytes<32> secret;
  std::size_t size = secret.data().size();
  const Context context(EVP_PKEY_CTX_new(handle.get(), nullptr));
  require(context != nullptr && EVP_PKEY_derive_init(context.get()) == 1 &&
              EVP_PKEY_derive_set_peer(context.get(), other.handle.get()) == 1 &&
              EVP_PKEY_derive(context.get(), secret.data().data(), &size) == 1 &&
              size == secret.data().size(),
          "the keys agree on nothing");
  return secret;
}

P256Key::Signature P256Key::sign(std::string_view text) const {
  // SEQUENCE of two INTEGERs of up to 33 bytes.
  std::array<std::uint8_t, 80> der{};
  std::size_t size = der.size();
  const DigestContext context(EVP_MD_CTX_new());
  require(
      context != nullptr &&
          EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, handle.get()) == 1 &&
          EVP_DigestSign(context.get(), der.data(), &size, bytesOf(text).data(), text.size()) == 1,
      "signing failed");
  const std::uint8_t* in = der.data();
  const OpenSSLHandle<ECDSA_SIG, ECDSA_SIG_free> numbers(
      d2i_ECDSA_SIG(nullptr, &in, static_cast<long>(size)));
  require(numbers != nullptr, "signing failed");
  Signature signature{};
  constexpr int half = 32;
  require(BN_bn2binpad(ECDSA_SIG_get0_r(numbers.get()), signature.data(), half) == half &&
              BN_bn2binpad(ECDSA_SIG_get0_s(numbers.get()), signature.data() + half, half) == half,
          "signing failed");
  return signature;
}

std::string P256Key::pem() const {
  const Memory memory(BIO_new(BIO_s_mem()));
  require(memory != nullptr && PEM_write_bio_PrivateKey(memory.get(), handle.get(), nullptr,
                                                        nullptr, 0, nullptr, nullptr) == 1,
          "the key cannot be written");
  char* data = nullptr;
  const auto size = BIO_get_mem_data(memory.get(), &data);
  return {data, static_cast<std::size_t>(size)};
}

}  // namespace orvik::relay
