#pragma once

#include <boost/asio/awaitable.hpp>

#include <exception>

#include "core/async/Clock.h"

namespace orvik {

/// What an operation failed with, or null when it succeeded: lets operations that may fail be
/// awaited side by side, since Asio's operator || waits for the first that does not throw.
asio::awaitable<std::exception_ptr> failureOf(asio::awaitable<void> operation);

/// Runs two operations side by side until the first of them ends, then cancels the other. The
/// failure of the first to end is passed on.
asio::awaitable<void> firstOf(asio::awaitable<void> left, asio::awaitable<void> right);

/// Runs an operation for at most `limit`, then cancels it and throws
/// boost::system::system_error with timed_out. Its own failure is passed on.
asio::awaitable<void> withTimeout(Clock& clock, Clock::Duration limit,
                                  asio::awaitable<void> operation);

}  // namespace orvik
