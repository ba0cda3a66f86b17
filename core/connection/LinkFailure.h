#pragma once

namespace orvik {

/// Why there is no link to a relay, as far as its user can do something about it.
enum class LinkFailure {
  /// Nobody answers, or not any more.
  unreachable,
  /// Somebody answers, but TLS or its certificate is not as it has to be.
  insecure,
  /// The relay asks to come back later.
  busy,
  /// It has said what no user could make something of.
  other,
};

}  // namespace orvik
