#include "core/pairing/Pairing.h"

#include <openssl/evp.h>
#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <memory>

#include "core/values/Base64.h"
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

void appendPercentEncoded(std::string_view text, std::string& out) {
  for (const char c : text) {
    if (urlUnreserved.find(c) != std::string_view::npos) {
      out.push_back(c);
    } else {
      out.push_back('%');
      appendHex(static_cast<std::uint8_t>(c), out);
    }
  }
}

struct FreeDigest {
  void operator()(EVP_MD* digest) const { EVP_MD_free(digest); }
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

/// HMAC with SHA-256 (RFC 2104) over the library's digest. The library's own HKDF and HMAC look
/// their digest up by name on every call, which takes longer than the whole of a derivation, and
/// keys are derived for every message.
class HMACSHA256 {
 public:
  static constexpr std::size_t size = 32;
  using Code = SecretBytes<size>;

  /// Over all pieces, one after the other.
  Code code(ByteView key, std::initializer_list<ByteView> parts) {
    SecretBytes<blockSize> padded;
    if (key.size() > blockSize) {
      const Code shortened = digest({key});
      std::ranges::copy(shortened.data(), padded.data().begin());
    } else {
      std::ranges::copy(key, padded.data().begin());
    }
    for (std::uint8_t& byte : padded.data()) {
      byte ^= innerPad;
    }
    begin();
    update(padded.data());
    for (const ByteView part : parts) {
      update(part);
    }
    const Code inner = finish();
    for (std::uint8_t& byte : padded.data()) {
      byte ^= innerPad ^ outerPad;
    }
    return digest({padded.data(), inner.data()});
  }

 private:
  static constexpr std::size_t blockSize = 64;
  static constexpr std::uint8_t innerPad = 0x36;
  static constexpr std::uint8_t outerPad = 0x5C;

  static const EVP_MD* sha256() {
    static const std::unique_ptr<EVP_MD, FreeDigest> found(
        EVP_MD_fetch(nullptr, "SHA256", nullptr));
    return found.get();
  }
  void begin() { require(EVP_DigestInit_ex2(context.get(), sha256(), nullptr)); }
  void update(ByteView bytes) {
    require(EVP_DigestUpdate(context.get(), bytes.data(), bytes.size()));
  }
  Code finish() {
    Code result;
    require(EVP_DigestFinal_ex(context.get(), result.data().data(), nullptr));
    return result;
  }
  Code digest(std::initializer_list<ByteView> parts) {
    begin();
    for (const ByteView part : parts) {
      update(part);
    }
    return finish();
  }
  static void require(int succeeded) {
    if (succeeded != 1) {
      stop("the digest failed");
    }
  }

  std::unique_ptr<EVP_MD_CTX, FreeDigest> context{EVP_MD_CTX_new()};
};

}  // namespace

void hkdfSHA256(ByteView inputKey, ByteView salt, ByteView info, std::span<std::uint8_t> output) {
  constexpr std::size_t mostBlocks = 255;
  if (output.empty() || output.size() > mostBlocks * HMACSHA256::size) {
    stop("a key derivation gives 1 to 8160 bytes");
  }
  HMACSHA256 hmac;
  const auto pseudorandomKey = hmac.code(salt, {inputKey});
  HMACSHA256::Code block;
  std::size_t previousSize = 0;
  for (std::uint8_t counter = 1; !output.empty(); ++counter) {
    block = hmac.code(pseudorandomKey.data(),
                      {ByteView(block.data()).first(previousSize), info, ByteView(&counter, 1)});
    const std::size_t taken = std::min(output.size(), HMACSHA256::size);
    std::ranges::copy(ByteView(block.data()).first(taken), output.begin());
    output = output.subspan(taken);
    previousSize = HMACSHA256::size;
  }
}

void fillWithRandomBytes(std::span<std::uint8_t> bytes) {
  // The kernel's own generator gives at most this much at once.
  constexpr std::size_t most = 256;
  while (!bytes.empty()) {
    const auto part = bytes.first(std::min(bytes.size(), most));
    if (getentropy(part.data(), part.size()) != 0) {
      stop("the system's random generator failed");
    }
    bytes = bytes.subspan(part.size());
  }
}

Bytes randomBytes(std::size_t count) {
  Bytes bytes(count);
  fillWithRandomBytes(bytes);
  return bytes;
}

Pairing::Pairing(ByteView macId, ByteView secret) {
  if (macId.size() != macIdSize || secret.size() != secretSize) {
    stop("a pairing takes an identifier of 16 bytes and a secret of 32");
  }
  std::ranges::copy(macId, id.begin());
  shared = SecretBytes<secretSize>(secret.first<secretSize>());
}

Pairing Pairing::generate() {
  const Bytes id = randomBytes(macIdSize);
  const WipedBytes fresh(randomBytes(secretSize));
  return {id, fresh.bytes};
}

SymmetricKey Pairing::derive(std::string_view label) const {
  SymmetricKey key;
  hkdfSHA256(shared.data(), id, bytesOf(label), key.data());
  return key;
}

SymmetricKey Pairing::encKey() const { return derive("orvik enc v1"); }
SymmetricKey Pairing::authKey() const { return derive("orvik auth v1"); }

std::string Pairing::topic(std::string_view kind) const {
  std::array<std::uint8_t, 16> name{};
  hkdfSHA256(shared.data(), id, bytesOf("orvik topic v1 " + std::string(kind)), name);
  return base64URL(name);
}

SecretText Pairing::authMessage() const { return orvik::authMessage(authKey()); }

SecretText authMessage(const SymmetricKey& authKey) {
  std::string message;
  message.reserve(64);
  message += R"({"auth":")";
  appendBase64URL(authKey.data(), message);
  message += R"("})";
  return SecretText(std::move(message));
}

SecretText Pairing::link(std::string_view macName, std::string_view host) const {
  // What stands around the name has some 100 characters and the host's.
  std::string link;
  link.reserve(host.size() + 128 + 3 * macName.size());
  link += "https://";
  link += host;
  link += "/orvik/p#1.";
  appendBase64URL(id, link);
  link += '.';
  appendBase64URL(shared.data(), link);
  link += '.';
  if (isValidUTF8(macName)) {
    appendPercentEncoded(macName, link);
  }
  return SecretText(std::move(link));
}

}  // namespace orvik
