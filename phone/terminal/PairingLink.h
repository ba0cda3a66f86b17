#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "core/pairing/Pairing.h"

namespace orvik {

/// The text is no pairing link. The message is a sentence for the user and never quotes the link,
/// which holds the secret.
class PairingLinkError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What a scanned link says: the pairing, and the name of the computer.
struct PairingLink {
  Pairing pairing;
  /// Fit to be shown; empty when the link names no computer.
  std::string name;

  /// Reads "https://HOST/orvik/p#1.IDENTIFIER.SECRET.NAME"; blanks around it are ignored. Throws
  /// PairingLinkError for everything else.
  [[nodiscard]] static PairingLink read(std::string_view text);

  /// Longer texts are refused unread: identifier and secret take 67 characters, and a name of the
  /// 255 bytes that systems allow takes at most 765.
  static constexpr std::size_t maximumLength = 4096;
};

}  // namespace orvik
