#include "core/client/RelayCheck.h"

#include <boost/asio/error.hpp>
#include <boost/asio/ssl/error.hpp>
#include <boost/system/system_error.hpp>

#include <utility>

#include "core/async/Timeout.h"
#include "core/connection/BeastWebSocket.h"
#include "core/connection/CloseWatcher.h"
#include "core/connection/WebSocketURL.h"
#include "core/pairing/Pairing.h"
#include "core/values/Base64.h"

namespace orvik {

namespace {

using namespace std::chrono_literals;

/// As long as a person waits for a word; a slow network needs some of it.
constexpr auto limit = 20s;
constexpr auto goodbyeLimit = 2s;
/// What a relay closes with after a first message of another form, and when it has no room.
constexpr std::uint16_t noAuthentication = 4400;
constexpr std::uint16_t tryAgainLater = 1013;

struct Attempt {
  bool isConnected = false;
  bool isRelay = false;
};

/// Says something that no relay takes for an authentication: one claims nothing by it, and the code
/// that a relay closes with is its own.
asio::awaitable<void> greet(std::shared_ptr<WebSocketTask> task, std::shared_ptr<Attempt> attempt) {
  co_await task->connect();
  attempt->isConnected = true;
  std::string nothing = "{}";
  co_await task->send(std::move(nothing));
  for (;;) {
    const WebSocketMessage ignored = co_await task->receive();
  }
}

RelayCheck::Outcome outcomeOf(const Attempt& attempt, const std::exception_ptr& failure) {
  if (attempt.isRelay) {
    return RelayCheck::Outcome::relay;
  }
  try {
    if (failure) {
      std::rethrow_exception(failure);
    }
  } catch (const boost::system::system_error& error) {
    const auto& category = error.code().category();
    if (category == asio::error::get_ssl_category()) {
      return RelayCheck::Outcome::insecure;
    }
    const bool isNetwork = category == boost::system::system_category() ||
                           category == asio::error::get_netdb_category() ||
                           category == asio::error::get_addrinfo_category();
    if (isNetwork && !attempt.isConnected) {
      return RelayCheck::Outcome::unreachable;
    }
  } catch (const std::exception&) {
    return RelayCheck::Outcome::unreachable;
  }
  return RelayCheck::Outcome::noRelay;
}

}  // namespace

asio::awaitable<RelayCheck> checkRelay(asio::any_io_executor executor, std::shared_ptr<Clock> clock,
                                       RelayEndpoint endpoint) {
  const auto refused = std::make_shared<std::string>();
  const ServerTrust trust{
      .certificates = endpoint.trust,
      .fingerprint = endpoint.fingerprint,
      .onRefused = [refused](const std::string& fingerprint) { *refused = fingerprint; }};
  BeastWebSocketSession session(clock, trust);
  const auto watcher = std::make_shared<CloseWatcher>();
  const Bytes identifier = randomBytes(Pairing::macIdSize);
  const std::string url = appendingPath(endpoint.url, "v1/mac/" + base64URL(identifier));
  const std::shared_ptr<WebSocketTask> task = session.webSocketTask(url, executor, watcher);
  const CloseSignal ended = watcher->watch(task->identifier());
  const auto attempt = std::make_shared<Attempt>();
  const std::exception_ptr failure =
      co_await failureOf(withTimeout(*clock, limit, greet(task, attempt)));
  const auto code = task->receivedCloseCode();
  attempt->isRelay = code == noAuthentication || code == tryAgainLater;
  task->close(closeCode::normal);
  co_await ended.value(*clock, goodbyeLimit);
  if (!refused->empty() && !attempt->isConnected) {
    co_return RelayCheck{RelayCheck::Outcome::untrusted, *refused};
  }
  co_return RelayCheck{outcomeOf(*attempt, failure)};
}

}  // namespace orvik
