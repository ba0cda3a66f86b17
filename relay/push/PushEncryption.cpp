#include "relay/push/PushEncryption.h"

#include <algorithm>
#include <memory>
#include <span>

#include "core/pairing/Pairing.h"

namespace orvik::relay {

namespace {

using CipherContext = OpenSSLHandle<EVP_CIPHER_CTX, EVP_CIPHER_CTX_free>;
using Salt = PushEncryption::Salt;

constexpr std::size_t tagSize = 16;
/// The delimiter of a last record (RFC 8188, section 2).
constexpr char lastRecord = 2;

void require(bool succeeded) {
  if (!succeeded) {
    throw P256Key::Unusable("encrypting failed");
  }
}

/// A label with the zero byte behind it.
template <std::size_t size>
constexpr std::string_view label(const char (&text)[size]) {
  return {text, size};
}

Bytes joined(std::initializer_list<ByteView> parts) {
  Bytes all;
  for (const ByteView part : parts) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}

struct RecordKeys {
  SecretBytes<16> key;
  SecretBytes<12> nonce;
};

RecordKeys keysFor(const Subscription& to, const P256Key& own, const Salt& salt) {
  const SecretBytes<32> shared = own.agree(P256Key::fromPublic(to.key));
  const P256Key::Public point = own.publicKey();
  SecretBytes<32> input;
  hkdfSHA256(shared.data(), to.secret, joined({bytesOf(label("WebPush: info")), to.key, point}),
             input.data());
  RecordKeys keys;
  hkdfSHA256(input.data(), salt, bytesOf(label("Content-Encoding: aes128gcm")), keys.key.data());
  hkdfSHA256(input.data(), salt, bytesOf(label("Content-Encoding: nonce")), keys.nonce.data());
  return keys;
}

/// AES-128-GCM; the tag stands behind the text.
void seal(const RecordKeys& keys, std::string_view text, std::span<std::uint8_t> out) {
  const CipherContext context(EVP_CIPHER_CTX_new());
  int written = 0;
  std::uint8_t* const tag = out.data() + text.size();
  require(context != nullptr &&
          EVP_EncryptInit_ex2(context.get(), EVP_aes_128_gcm(), keys.key.data().data(),
                              keys.nonce.data().data(), nullptr) == 1 &&
          EVP_EncryptUpdate(context.get(), out.data(), &written, bytesOf(text).data(),
                            static_cast<int>(text.size())) == 1 &&
          EVP_EncryptFinal_ex(context.get(), tag, &written) == 1 &&
          EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_GET_TAG, static_cast<int>(tagSize),
                              tag) == 1);
}

}  // namespace

std::string PushEncryption::encrypt(std::string_view text, const Subscription& to) {
  Salt salt{};
  fillWithRandomBytes(salt);
  return encrypt(text, to, P256Key::generate(), salt);
}

std::string PushEncryption::encrypt(std::string_view text, const Subscription& to,
                                    const P256Key& key, const Salt& salt) {
  require(text.size() <= longestText);
  const P256Key::Public point = key.publicKey();
  constexpr std::array<std::uint8_t, 4> recordSize{0, 0, 0x10, 0};
  constexpr std::array<std::uint8_t, 1> keySize{P256Key::Public().size()};
  const std::string record = std::string(text) + lastRecord;
  Bytes body = joined({salt, recordSize, keySize, point});
  const std::size_t header = body.size();
  body.resize(header + record.size() + tagSize);
  seal(keysFor(to, key, salt), record, std::span(body).subspan(header));
  return std::string(textOf(body));
}

}  // namespace orvik::relay
