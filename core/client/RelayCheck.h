#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>

#include <memory>
#include <string>

#include "core/async/Clock.h"
#include "core/client/RelayEndpoint.h"

namespace orvik {

namespace asio = boost::asio;

/// What an attempt to use a relay has shown.
struct RelayCheck {
  enum class Outcome {
    /// One of ours.
    relay,
    /// No such host, or nobody answers there.
    unreachable,
    /// Somebody answers, but not as TLS has it.
    insecure,
    /// TLS with a certificate that is not trusted.
    untrusted,
    /// A server of another kind.
    noRelay,
  };

  Outcome outcome = Outcome::unreachable;
  /// Of a certificate that is not trusted: SHA-256, as "AB:CD:…".
  std::string fingerprint = {};

  bool operator==(const RelayCheck&) const = default;
};

/// Connects to a relay as a computer does, without becoming known to it, and leaves again. Takes at
/// most some 20 s. Throws std::runtime_error when the endpoint's certificates cannot be read.
[[nodiscard]] asio::awaitable<RelayCheck> checkRelay(asio::any_io_executor executor,
                                                     std::shared_ptr<Clock> clock,
                                                     RelayEndpoint endpoint);

}  // namespace orvik
