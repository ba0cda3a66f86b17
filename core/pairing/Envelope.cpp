#include "core/pairing/Envelope.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <climits>
#include <memory>

#include "core/values/Base64.h"
#include "core/values/JSONReader.h"

namespace orvik {

namespace {

struct FreeCipher {
  void operator()(EVP_CIPHER* cipher) const { EVP_CIPHER_free(cipher); }
  void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, FreeCipher>;

/// Looked up once: finding an algorithm by name takes longer than sealing a sample.
const EVP_CIPHER* aes256GCM() {
  static const std::unique_ptr<EVP_CIPHER, FreeCipher> cipher(
      EVP_CIPHER_fetch(nullptr, "AES-256-GCM", nullptr));
  return cipher.get();
}

void require(bool succeeded, const char* message) {
  if (!succeeded) {
    throw Envelope::CipherError(message);
  }
}

int cipherLength(ByteView bytes) {
  require(bytes.size() <= INT_MAX - Envelope::tagSize, "too large to seal");
  return static_cast<int>(bytes.size());
}

using AdditionalData = std::array<std::uint8_t, 1 + Pairing::macIdSize>;

/// What an envelope is bound to beside its content: the kind, then the identifier.
AdditionalData aad(Envelope::Kind kind, const Pairing& pairing) {
  AdditionalData data{static_cast<std::uint8_t>(kind)};
  std::ranges::copy(pairing.macId(), data.begin() + 1);
  return data;
}

std::optional<Envelope::Kind> kindFrom(std::string_view text) {
  using Kind = Envelope::Kind;
  for (const Kind kind : {Kind::sample, Kind::alert, Kind::control}) {
    if (text.size() == 1 && text.front() == static_cast<char>(kind)) {
      return kind;
    }
  }
  return std::nullopt;
}

template <typename Case>
const Case& member(const UntypedValue& object, std::string_view key) {
  const Case* content = object.get<Case>(key);
  if (content == nullptr) {
    throw Envelope::Malformed();
  }
  return *content;
}

Bytes binaryMember(const UntypedValue& object, std::string_view key) {
  auto bytes = bytesFromBase64URL(member<std::string>(object, key));
  if (!bytes) {
    throw Envelope::Malformed();
  }
  return *std::move(bytes);
}

}  // namespace

void sealAES256GCM(const SymmetricKey& key,
                   std::span<const std::uint8_t, Envelope::nonceSize> nonce, ByteView additional,
                   ByteView plaintext, std::span<std::uint8_t> sealed) {
  const CipherContext context(EVP_CIPHER_CTX_new());
  int written = 0;
  require(context != nullptr && EVP_EncryptInit_ex2(context.get(), aes256GCM(), key.data().data(),
                                                    nonce.data(), nullptr) == 1,
          "the cipher could not be set up");
  require(EVP_EncryptUpdate(context.get(), nullptr, &written, additional.data(),
                            cipherLength(additional)) == 1,
          "the cipher refused the additional data");
  require(plaintext.empty() || EVP_EncryptUpdate(context.get(), sealed.data(), &written,
                                                 plaintext.data(), cipherLength(plaintext)) == 1,
          "sealing failed");
  std::uint8_t* const tag = sealed.data() + plaintext.size();
  require(EVP_EncryptFinal_ex(context.get(), tag, &written) == 1 &&
              EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_GET_TAG,
                                  static_cast<int>(Envelope::tagSize), tag) == 1,
          "sealing failed");
}

std::string openAES256GCM(const SymmetricKey& key,
                          std::span<const std::uint8_t, Envelope::nonceSize> nonce,
                          ByteView additional, ByteView sealed) {
  const ByteView ciphertext = sealed.first(sealed.size() - Envelope::tagSize);
  std::array<std::uint8_t, Envelope::tagSize> tag{};
  std::ranges::copy(sealed.last<Envelope::tagSize>(), tag.begin());
  std::string plaintext(ciphertext.size(), '\0');
  auto* const out = reinterpret_cast<std::uint8_t*>(plaintext.data());

  const CipherContext context(EVP_CIPHER_CTX_new());
  int written = 0;
  require(context != nullptr && EVP_DecryptInit_ex2(context.get(), aes256GCM(), key.data().data(),
                                                    nonce.data(), nullptr) == 1,
          "the cipher could not be set up");
  require(EVP_DecryptUpdate(context.get(), nullptr, &written, additional.data(),
                            cipherLength(additional)) == 1,
          "the cipher refused the additional data");
  require(ciphertext.empty() || EVP_DecryptUpdate(context.get(), out, &written, ciphertext.data(),
                                                  cipherLength(ciphertext)) == 1,
          "opening failed");
  std::array<std::uint8_t, Envelope::tagSize> rest{};
  require(EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_SET_TAG, static_cast<int>(tag.size()),
                              tag.data()) == 1 &&
              EVP_DecryptFinal_ex(context.get(), rest.data(), &written) == 1,
          "authentication failed");
  return plaintext;
}

std::string Envelope::seal(std::string_view plaintext, Kind kind, const Pairing& pairing) {
  std::array<std::uint8_t, nonceSize> nonce{};
  fillWithRandomBytes(nonce);
  Bytes sealed(plaintext.size() + tagSize);
  sealAES256GCM(pairing.encKey(), nonce, aad(kind, pairing), bytesOf(plaintext), sealed);

  // The members stand in key order, and none of their characters needs an escape.
  std::string text;
  text.reserve(sealed.size() / 3 * 4 + 64);
  text += R"({"c":")";
  appendBase64URL(sealed, text);
  text += R"(","n":")";
  appendBase64URL(nonce, text);
  text += R"(","t":")";
  text += static_cast<char>(kind);
  text += R"(","v":1})";
  return text;
}

Envelope::Opened Envelope::open(std::string_view text, const Pairing& pairing) {
  const UntypedValue object = readJSON(text);
  if (member<std::int64_t>(object, "v") != 1) {
    throw Malformed();
  }
  const auto kind = kindFrom(member<std::string>(object, "t"));
  if (!kind) {
    throw Malformed();
  }
  const Bytes nonce = binaryMember(object, "n");
  const Bytes sealed = binaryMember(object, "c");
  if (nonce.size() != nonceSize || sealed.size() < tagSize) {
    throw Malformed();
  }
  return {*kind, openAES256GCM(pairing.encKey(), ByteView(nonce).first<nonceSize>(),
                               aad(*kind, pairing), sealed)};
}

}  // namespace orvik
