#pragma once

#include <array>

#include "core/values/Bytes.h"

namespace orvik::relay {

/// What the relay remembers of a token: enough to know it again, not enough to present it.
class TokenHash {
 public:
  static constexpr std::size_t tokenSize = 32;

  /// SHA-256.
  using Digest = std::array<std::uint8_t, 32>;

  explicit TokenHash(std::span<const std::uint8_t, tokenSize> token);
  /// One that has been kept as `bytes` gave it.
  [[nodiscard]] static TokenHash from(const Digest& bytes) {
    TokenHash hash;
    hash.digest = bytes;
    return hash;
  }
  /// One that no token has.
  [[nodiscard]] static TokenHash ofNoToken() { return {}; }
  [[nodiscard]] const Digest& bytes() const noexcept { return digest; }

  /// Takes the same time wherever the two differ.
  bool operator==(const TokenHash& other) const noexcept;

 private:
  TokenHash() = default;

  Digest digest{};
};

}  // namespace orvik::relay
