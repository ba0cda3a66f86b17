#include "core/connection/PersistentConnection.h"

#include <boost/asio/error.hpp>
#include <boost/asio/ssl/error.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/system/system_error.hpp>

#include <random>
#include <utility>

#include "core/async/Timeout.h"
#include "core/connection/BackOff.h"

namespace orvik {

namespace {

/// How long a goodbye waits for the relay's answer.
constexpr std::chrono::seconds farewellLimit{2};

/// RFC 6455, registered by IANA: the relay is overloaded, or has held this side for too long.
constexpr std::uint16_t tryAgainLater = 1013;

/// From 0 to 1.
double chance() {
  std::random_device device;
  return std::uniform_real_distribution<double>()(device);
}

void failIfSilent(const DeadLinkWatch& watch, Instant lastInbound) {
  if (watch.isDead(lastInbound)) {
    throw boost::system::system_error(asio::error::timed_out);
  }
}

}  // namespace

asio::awaitable<WebSocketMessage> PersistentConnection::Link::receive() {
  WebSocketMessage message = co_await socket->receive();
  lastInbound = clock->now();
  co_return message;
}

PersistentConnection::PersistentConnection(std::string url,
                                           std::shared_ptr<WebSocketSession> session,
                                           std::shared_ptr<Clock> clock, Clock::Duration pingPause,
                                           User& user)
    : url(std::move(url)),
      session(std::move(session)),
      clock(std::move(clock)),
      pingPause(pingPause),
      user(user) {}

asio::awaitable<PersistentConnection::End> PersistentConnection::run() {
  BackOff backOff;
  for (;;) {
    user.connecting();
    const Ending ending = co_await connectOnce();
    if (!ending.failure) {
      co_return End::finished;
    }
    if (ending.closeCode == closeCode::pairingRejected) {
      co_return End::rejected;
    }
    const std::chrono::seconds wait = backOff.next(ending.wasAccepted);
    user.waiting(wait, ending);
    const bool isRelayGoing = ending.wasAccepted && ending.closeCode == closeCode::goingAway;
    co_await clock->sleepFor(BackOff::spread(wait, isRelayGoing ? chance() : 0));
  }
}

asio::awaitable<PersistentConnection::Ending> PersistentConnection::connectOnce() {
  const asio::any_io_executor executor = co_await asio::this_coro::executor;
  Ending ending;
  std::shared_ptr<Link> link;
  try {
    link = std::make_shared<Link>(session->webSocketTask(url, executor, closures), clock);
  } catch (const std::exception&) {
    // No memory for TLS: as good a reason to try again later as any.
    ending.failure = std::current_exception();
    co_return ending;
  }
  current = link;
  ending.failure = co_await failureOf(useLink(link));
  const asio::cancellation_state state = co_await asio::this_coro::cancellation_state;
  if (state.cancelled() != asio::cancellation_type::none) {
    throw boost::system::system_error(asio::error::operation_aborted);
  }
  if (ending.failure && current == link) {
    link->socket->close(closeCode::goingAway);
    current = nullptr;
  }
  ending.closeCode = link->socket->receivedCloseCode();
  ending.wasAccepted = link->isAccepted;
  co_return ending;
}

asio::awaitable<void> PersistentConnection::useLink(std::shared_ptr<Link> link) {
  co_await link->socket->connect();
  co_await firstOf(user.talk(link), pingLoop(link));
}

asio::awaitable<void> PersistentConnection::pingLoop(std::shared_ptr<Link> link) {
  DeadLinkWatch watch;
  for (;;) {
    co_await clock->sleepFor(pingPause);
    watch.pinged(clock->now());
    co_await firstOf(link->send("ping"), failWhenSilent(link, watch));
    co_await clock->sleepFor(DeadLinkWatch::answerLimit);
    failIfSilent(watch, link->lastInbound);
  }
}

/// A link that takes nothing any more must not hold up the question whether it is dead; but while
/// it brings something it is only slow, and no answer can be asked of a ping that is not out.
asio::awaitable<void> PersistentConnection::failWhenSilent(std::shared_ptr<Link> link,
                                                           DeadLinkWatch& watch) {
  for (Clock::Duration limit = DeadLinkWatch::answerLimit;;
       limit = pingPause + DeadLinkWatch::answerLimit) {
    co_await clock->sleepFor(limit);
    failIfSilent(watch, link->lastInbound);
    watch.pinged(clock->now());
  }
}

std::string PersistentConnection::Ending::reason() const {
  if (closeCode == tryAgainLater) {
    return "the relay asks to come back later";
  }
  if (closeCode) {
    return "closed by the relay, code " + std::to_string(*closeCode);
  }
  if (!failure) {
    return "ended";
  }
  try {
    std::rethrow_exception(failure);
  } catch (const boost::system::system_error& error) {
    return error.code().message();
  } catch (const std::exception& error) {
    return error.what();
  }
}

LinkFailure PersistentConnection::Ending::kind() const {
  if (closeCode) {
    return *closeCode == tryAgainLater                 ? LinkFailure::busy
           : *closeCode == orvik::closeCode::goingAway ? LinkFailure::unreachable
                                                       : LinkFailure::other;
  }
  try {
    if (failure) {
      std::rethrow_exception(failure);
    }
  } catch (const boost::system::system_error& error) {
    return error.code().category() == asio::error::get_ssl_category() ? LinkFailure::insecure
                                                                      : LinkFailure::unreachable;
  } catch (const std::exception&) {
    return LinkFailure::other;
  }
  return LinkFailure::unreachable;
}

asio::awaitable<void> PersistentConnection::close() {
  if (const auto closing = std::exchange(current, nullptr)) {
    const CloseSignal signal = closures->watch(closing->socket->identifier());
    closing->socket->close(closeCode::normal);
    co_await signal.value(*clock, farewellLimit);
  }
}

}  // namespace orvik
