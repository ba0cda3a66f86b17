#pragma once

#include <array>

#include "core/values/Bytes.h"

namespace orvik::relay {

/// What the relay remembers of a token: enough to know it again, not enough to present it.
class TokenHash {
 public:
  static constexpr std::size_t tokenSize = 32;

  explicit TokenHash(std::span<const std::uint8_t, tokenSize> token);

  /// Takes the same time wherever the two differ.
  bool operator==(const TokenHash& other) const noexcept;

 private:
  /// SHA-256.
  std::array<std::uint8_t, 32> digest{};
};

}  // namespace orvik::relay
