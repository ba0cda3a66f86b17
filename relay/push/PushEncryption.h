#pragma once

#include <array>
#include <string>
#include <string_view>

#include "relay/push/P256Key.h"
#include "relay/push/Subscription.h"

namespace orvik::relay {

/// Messages to one phone's browser (RFC 8291): what stands between can neither read nor change
/// them.
class PushEncryption {
 public:
  /// Push services take 4096 bytes; the header, the mark of the end and the tag are among them.
  static constexpr std::size_t longestText = 4096 - 86 - 1 - 16;

  using Salt = std::array<std::uint8_t, 16>;

  /// A body in the coding "aes128gcm" (RFC 8188) of one record, under a fresh key and salt. `text`
  /// has at most `longestText` bytes. Throws P256Key::Unusable when the subscription's key is none.
  [[nodiscard]] static std::string encrypt(std::string_view text, const Subscription& to);
  /// The same with a given key pair and salt.
  [[nodiscard]] static std::string encrypt(std::string_view text, const Subscription& to,
                                           const P256Key& key, const Salt& salt);
};

}  // namespace orvik::relay
