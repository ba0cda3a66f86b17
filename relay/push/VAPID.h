#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "core/async/Clock.h"
#include "relay/push/P256Key.h"

namespace orvik::relay {

/// How the relay says to push services who it is (RFC 8292): by a key of its own, which phones name
/// when they subscribe, so that nobody else can push to them.
class VAPID {
 public:
  /// `subject` is how the operator is reached: a mailto: or https: URI.
  VAPID(P256Key key, std::string subject) : key(std::move(key)), subject(std::move(subject)) {}

  /// The key kept in this folder, made when there is none. Throws std::runtime_error when that
  /// cannot be done or the file holds something else: phones have subscribed with the old one.
  [[nodiscard]] static P256Key keptIn(const std::filesystem::path& folder);
  /// Whether it is a URI that push services take.
  [[nodiscard]] static bool isSubject(std::string_view text);

  /// What phones subscribe for, in base64url.
  [[nodiscard]] std::string publicKey() const;
  /// The field "Authorization" of a request to a push service's origin. Used by one thread.
  [[nodiscard]] const std::string& authorization(const std::string& origin, Clock::UnixTime now);

 private:
  struct Token {
    std::string field;
    Clock::UnixTime renewal;
  };

  [[nodiscard]] std::string token(const std::string& origin, Clock::UnixTime expiry) const;

  const P256Key key;
  const std::string subject;
  std::map<std::string, Token> tokens;
};

}  // namespace orvik::relay
