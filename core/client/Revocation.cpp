#include "core/client/Revocation.h"

#include <boost/asio/co_spawn.hpp>

#include <utility>

#include "core/async/Timeout.h"
#include "core/client/Presence.h"
#include "core/connection/WebSocketURL.h"
#include "core/values/Base64.h"

namespace orvik {

namespace {

using Link = std::shared_ptr<PersistentConnection::Link>;

/// Longer than a relay takes to store it; one that is older says nothing.
constexpr std::chrono::seconds answerLimit{10};
constexpr std::chrono::seconds revocationPingPause{60};

asio::awaitable<void> awaitAcceptance(Link link) {
  while (!link->isAccepted) {
    const WebSocketMessage message = co_await link->receive();
    link->isAccepted = message.isText && Presence::fromRelay(message.content).has_value();
  }
}

/// Ends with an exception, when the connection does.
asio::awaitable<void> awaitEnd(Link link) {
  for (;;) {
    co_await link->receive();
  }
}

}  // namespace

Revocation::Revocation(const asio::any_io_executor& executor, std::shared_ptr<Clock> givenClock,
                       std::shared_ptr<WebSocketSession> session, const std::string& relay,
                       RetiredPairing retired, std::function<void()> done)
    : executor(executor),
      clock(std::move(givenClock)),
      pairing(std::move(retired)),
      done(std::move(done)),
      connection(appendingPath(relay, "v1/mac/" + base64URL(pairing.macId())), std::move(session),
                 clock, revocationPingPause, *this) {}

void Revocation::start() {
  asio::co_spawn(executor, run(), [self = shared_from_this()](const std::exception_ptr& failure) {
    if (!failure) {
      self->done();
    }
  });
}

/// The relay refuses a pairing that it knows to be replaced.
asio::awaitable<void> Revocation::run() {
  co_await connection.run();
  co_await connection.close();
}

asio::awaitable<void> Revocation::talk(Link link) {
  {
    // For as long as a conversation lasts its first words need not be remembered.
    const SecretText authentication = pairing.authMessage();
    co_await link->send(authentication.text());
  }
  co_await awaitAcceptance(link);
  std::string revoked = R"({"revoked":true})";
  co_await link->send(std::move(revoked));
  co_await firstOf(awaitEnd(link), clock->sleepFor(answerLimit));
}

}  // namespace orvik
