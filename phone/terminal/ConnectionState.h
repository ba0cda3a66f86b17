#pragma once

#include <chrono>
#include <string>

namespace orvik {

/// Where the phone's connection to the computer stands.
struct ConnectionState {
  enum class Phase {
    connecting,
    /// Authenticated; the relay has not answered, since it does not know the computer yet.
    held,
    /// The relay has accepted the phone, and the computer is connected.
    live,
    /// The relay has accepted the phone, and the computer is not connected.
    macOffline,
    /// Waiting for the next attempt.
    waiting,
  };

  Phase phase = Phase::connecting;
  /// While waiting: the time until the next attempt, counted from its beginning.
  std::chrono::seconds retryIn{0};
  /// While waiting: why the connection ended, fit to be shown.
  std::string reason;

  bool operator==(const ConnectionState&) const = default;
};

/// The state in a few words, for the user.
[[nodiscard]] std::string description(const ConnectionState& state);

}  // namespace orvik
