#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/values/UntypedValue.h"
#include "relay/TokenHash.h"
#include "relay/push/Subscription.h"

namespace orvik::relay {

/// What {"auth":"TOKEN"} says.
struct Authentication {
  TokenHash token;
  /// The "last" of a phone that counts alerts. One that is no number of an alert is none.
  std::optional<std::uint64_t> last;

  /// Nothing when the text is anything else.
  [[nodiscard]] static std::optional<Authentication> in(std::string_view message);
};

/// The value of {"active":true|false}. Nothing when the text is anything else.
[[nodiscard]] std::optional<bool> activeIn(std::string_view message);

/// What {"subscribe":{…}} says.
struct Subscribe {
  /// Nothing when it is no subscription: no https URL of at most so many bytes, no point of the
  /// curve, a secret of another length.
  std::optional<Subscription> subscription;
  /// The endpoint that it takes the place of; empty where there is none.
  std::string replaces;

  /// Nothing when the text is anything else.
  [[nodiscard]] static std::optional<Subscribe> in(std::string_view message,
                                                   std::size_t longestEndpoint);
};

/// The endpoint of {"unsubscribe":"…"}. Nothing when the text is anything else.
[[nodiscard]] std::optional<std::string> unsubscribeIn(std::string_view message);

/// What {"next":{…}} says of the alert in the next envelope, which itself stays closed.
struct AlertMark {
  /// The same for alerts that take each other's place; empty where the computer does not say.
  std::string topic;
  bool isUrgent = true;

  /// Nothing when the text is anything else; a member that is not as it should be counts as absent.
  [[nodiscard]] static std::optional<AlertMark> in(std::string_view message);
  /// From the members themselves.
  [[nodiscard]] static AlertMark of(const UntypedValue& members);

  bool operator==(const AlertMark&) const = default;
};

/// Whether the text is an envelope that says it has an alert in it. The envelope itself stays
/// closed.
[[nodiscard]] bool isAlert(std::string_view message);

/// Whether the text is {"revoked":true}.
[[nodiscard]] bool isRevocation(std::string_view message);

}  // namespace orvik::relay
