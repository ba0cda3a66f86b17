#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "core/pairing/Pairing.h"

namespace orvik {

/// What is remembered of a pairing that another has replaced, until its relay knows: enough to say
/// so there, but not to read anything that was sealed under it.
class RetiredPairing {
 public:
  using Identifier = std::array<std::uint8_t, Pairing::macIdSize>;

  explicit RetiredPairing(const Pairing& pairing)
      : id(pairing.macId()), authKey(pairing.authKey()) {}

  [[nodiscard]] const Identifier& macId() const noexcept { return id; }
  /// The first message to a relay, as the pairing's own.
  [[nodiscard]] SecretText authMessage() const { return orvik::authMessage(authKey); }

  /// One line of printable characters.
  [[nodiscard]] SecretText text() const;
  /// The reverse; nothing when it is none.
  [[nodiscard]] static std::optional<RetiredPairing> from(std::string_view text);

  bool operator==(const RetiredPairing&) const = default;

 private:
  RetiredPairing() = default;

  Identifier id{};
  SymmetricKey authKey;
};

}  // namespace orvik
