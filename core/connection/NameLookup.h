#pragma once

#include <boost/asio/awaitable.hpp>
#include <boost/asio/ip/tcp.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/async/Clock.h"

namespace orvik {

namespace asio = boost::asio;

/// The addresses of a host, in the system's order of preference. The system's look-up cannot be
/// interrupted; this one can: one that is cancelled, or takes longer than `limit`, is left to end
/// on a thread of its own, and delays neither the caller nor the end of the program. Throws
/// boost::system::system_error.
asio::awaitable<std::vector<asio::ip::tcp::endpoint>> lookUp(std::shared_ptr<Clock> clock,
                                                             Clock::Duration limit,
                                                             std::string host, std::uint16_t port);

}  // namespace orvik
