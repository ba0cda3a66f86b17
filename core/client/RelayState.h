#pragma once

#include <cstdint>
#include <string>
#include <variant>

#include "core/connection/LinkFailure.h"

namespace orvik {

/// What the user is told about the link to the relay.
namespace relayState {
/// The relay has accepted this computer; `viewers` phones are connected.
struct Online {
  std::int64_t viewers;
  bool operator==(const Online&) const = default;
};
/// The last connection ended; the next attempt starts after this many seconds.
struct Waiting {
  std::int64_t retryIn;
  /// Why it ended, in the words of whoever ended it: a relay, a library, the system.
  std::string reason = {};
  LinkFailure kind = LinkFailure::unreachable;
  bool operator==(const Waiting&) const = default;
};
/// An attempt is under way.
struct Connecting {
  bool operator==(const Connecting&) const = default;
};
/// The relay refused the pairing; nothing is attempted any more.
struct Rejected {
  bool operator==(const Rejected&) const = default;
};
/// Stopped on purpose.
struct Stopped {
  bool operator==(const Stopped&) const = default;
};
}  // namespace relayState

using RelayState = std::variant<relayState::Online, relayState::Waiting, relayState::Connecting,
                                relayState::Rejected, relayState::Stopped>;

/// One short English line, for a terminal.
[[nodiscard]] std::string description(const RelayState& state);

}  // namespace orvik
