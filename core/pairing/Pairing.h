#pragma once

#include <array>
#include <string>
#include <string_view>

#include "core/BuildConstants.h"
#include "core/values/Bytes.h"
#include "core/values/SecretBytes.h"

namespace orvik {

/// What this computer and its phones share: the random identifier under which a relay knows the
/// computer, and the secret that both keys come from. There is one at a time; a new one replaces
/// both values, and nothing sealed under the old one opens any more.
class Pairing {
 public:
  static constexpr std::size_t macIdSize = 16;
  static constexpr std::size_t secretSize = 32;

  /// Lengths other than macIdSize and secretSize are a programming error and stop the program:
  /// whoever reads bytes from outside checks them first.
  Pairing(ByteView macId, ByteView secret);

  /// A new random pairing.
  [[nodiscard]] static Pairing generate();

  /// Random identifier, also the salt of the key derivation.
  [[nodiscard]] const std::array<std::uint8_t, macIdSize>& macId() const noexcept { return id; }
  /// The shared secret, wiped with this object.
  [[nodiscard]] const SecretBytes<secretSize>& secret() const noexcept { return shared; }

  /// Seals every payload. Derived on every call, never stored.
  [[nodiscard]] SymmetricKey encKey() const;
  /// Authenticates to the relay, and does nothing else. Derived on every call, never stored.
  [[nodiscard]] SymmetricKey authKey() const;

  /// A name for alerts of this kind that tells a relay nothing but that they are of one kind: 22
  /// characters of base64url.
  [[nodiscard]] std::string topic(std::string_view kind) const;

  /// The first message to a relay, with authKey.
  [[nodiscard]] SecretText authMessage() const;

  /// The link that a phone scans. Everything secret stands behind the "#" and never reaches the
  /// link's host, perhaps with a port. A name that is not valid UTF-8 is left out.
  [[nodiscard]] SecretText link(std::string_view macName,
                                std::string_view host = build::pairingHost) const;

  bool operator==(const Pairing&) const = default;

 private:
  [[nodiscard]] SymmetricKey derive(std::string_view label) const;

  std::array<std::uint8_t, macIdSize> id{};
  SecretBytes<secretSize> shared;
};

/// The first message to a relay: {"auth":TOKEN} with the key in base64url.
[[nodiscard]] SecretText authMessage(const SymmetricKey& authKey);

/// Fills memory from the system's cryptographically secure generator. A generator that fails stops
/// the program.
void fillWithRandomBytes(std::span<std::uint8_t> bytes);

/// New bytes from the same generator.
[[nodiscard]] Bytes randomBytes(std::size_t count);

/// HKDF (RFC 5869) with SHA-256, extract then expand, filling `output` (1 to 8160 bytes; anything
/// else is a programming error and stops the program).
void hkdfSHA256(ByteView inputKey, ByteView salt, ByteView info, std::span<std::uint8_t> output);

}  // namespace orvik
