#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "core/pairing/Pairing.h"

namespace orvik {

/// The sealed form of every payload: AES-256-GCM under the pairing's encKey, bound to its kind and
/// to this computer, written as a small JSON object that a relay can only pass on.
class Envelope {
 public:
  enum class Kind : char { sample = 's', alert = 'a', control = 'c' };

  /// JSON, but no envelope of version 1.
  struct Malformed : std::runtime_error {
    Malformed() : std::runtime_error("malformed envelope") {}
  };
  /// The cipher refused: another key, another kind, or data that was changed on the way.
  struct CipherError : std::runtime_error {
    using std::runtime_error::runtime_error;
  };

  struct Opened {
    Kind kind;
    std::string plaintext;
  };

  /// Seals bytes with a fresh random nonce and returns the envelope's text. Throws CipherError.
  [[nodiscard]] static std::string seal(std::string_view plaintext, Kind kind,
                                        const Pairing& pairing);

  /// What a receiver does. Throws JSONError when the text is not JSON, Malformed when it is no
  /// envelope, CipherError when it was not sealed by this pairing as the kind that it names.
  [[nodiscard]] static Opened open(std::string_view text, const Pairing& pairing);

  static constexpr std::size_t nonceSize = 12;
  static constexpr std::size_t tagSize = 16;
};

/// AES-256-GCM (NIST SP 800-38D) with a 96-bit nonce: `sealed` is the ciphertext, then the tag.
/// `sealed` has plaintext.size() + Envelope::tagSize bytes. Throws Envelope::CipherError.
void sealAES256GCM(const SymmetricKey& key,
                   std::span<const std::uint8_t, Envelope::nonceSize> nonce, ByteView additional,
                   ByteView plaintext, std::span<std::uint8_t> sealed);

/// The reverse. `sealed` has at least Envelope::tagSize bytes. Throws Envelope::CipherError, and
/// gives out nothing of what it could not authenticate.
[[nodiscard]] std::string openAES256GCM(const SymmetricKey& key,
                                        std::span<const std::uint8_t, Envelope::nonceSize> nonce,
                                        ByteView additional, ByteView sealed);

}  // namespace orvik
