#pragma once

#include <boost/asio/awaitable.hpp>

#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "core/async/Clock.h"
#include "core/connection/CloseWatcher.h"
#include "core/connection/DeadLinkWatch.h"
#include "core/connection/LinkFailure.h"
#include "core/connection/WebSocketTask.h"

namespace orvik {

/// One WebSocket connection to a relay that is kept alive: it is made, watched for a link that has
/// died, and made again with a growing wait, until the relay refuses the pairing. Used on one
/// executor, which runs one handler at a time.
class PersistentConnection {
 public:
  /// One connection, from its beginning to its end.
  class Link {
   public:
    Link(std::shared_ptr<WebSocketTask> socket, std::shared_ptr<Clock> clock)
        : socket(std::move(socket)), clock(std::move(clock)), lastInbound(this->clock->now()) {}

    /// As those of WebSocketTask.
    asio::awaitable<void> send(std::string text) { return socket->send(std::move(text)); }
    asio::awaitable<WebSocketMessage> receive();

    /// The relay has accepted this connection: after its end the waits begin anew.
    bool isAccepted = false;

   private:
    friend class PersistentConnection;
    const std::shared_ptr<WebSocketTask> socket;
    const std::shared_ptr<Clock> clock;
    /// When anything was last received.
    Instant lastInbound;
  };

  /// How a connection, or an attempt, ended.
  struct Ending {
    /// The code that the relay closed with, if it has.
    std::optional<std::uint16_t> closeCode;
    /// What ended it on this side; null when whoever talked wants no more.
    std::exception_ptr failure;
    bool wasAccepted = false;

    /// Why, as a few words without a full stop. A library's or the system's own may be foreign
    /// text.
    [[nodiscard]] std::string reason() const;
    /// The same for a user who does not read that.
    [[nodiscard]] LinkFailure kind() const;
  };

  /// Whoever talks over the connection. Called on the connection's executor.
  class User {
   public:
    virtual ~User() = default;
    /// An attempt begins.
    virtual void connecting() = 0;
    /// Talks over a connection that has just been made, beginning with the authentication. Throwing
    /// ends that connection; so does its death, which cancels this. Returning ends run().
    virtual asio::awaitable<void> talk(std::shared_ptr<Link> link) = 0;
    /// The next attempt begins after this time.
    virtual void waiting(std::chrono::seconds wait, const Ending& ending) = 0;
  };

  /// Why run() has ended.
  enum class End { rejected, finished };

  /// `pingPause` passes between the beginning of a connection, or the answer limit of a ping, and
  /// the next ping. The user outlives everything that it awaits of this connection.
  PersistentConnection(std::string url, std::shared_ptr<WebSocketSession> session,
                       std::shared_ptr<Clock> clock, Clock::Duration pingPause, User& user);
  PersistentConnection(const PersistentConnection&) = delete;
  PersistentConnection& operator=(const PersistentConnection&) = delete;

  /// Stays connected until the relay refuses the pairing for good or the user wants no more.
  /// Cancellable: throws boost::system::system_error with operation_aborted. After that, and when
  /// the user wants no more, the connection is left to close().
  asio::awaitable<End> run();

  /// Says goodbye to the relay, if there is a connection, by closing with code 1000. Resumes when
  /// the relay has answered, or after 2 s. No run() may be under way that has not been cancelled.
  asio::awaitable<void> close();

  /// The present connection, from the beginning of the attempt; null when there is none.
  [[nodiscard]] const std::shared_ptr<Link>& link() const { return current; }

 private:
  asio::awaitable<Ending> connectOnce();
  asio::awaitable<void> useLink(std::shared_ptr<Link> link);
  asio::awaitable<void> pingLoop(std::shared_ptr<Link> link);
  asio::awaitable<void> failWhenSilent(std::shared_ptr<Link> link, DeadLinkWatch& watch);

  const std::string url;
  const std::shared_ptr<WebSocketSession> session;
  const std::shared_ptr<Clock> clock;
  const Clock::Duration pingPause;
  User& user;
  const std::shared_ptr<CloseWatcher> closures = std::make_shared<CloseWatcher>();
  std::shared_ptr<Link> current;
};

}  // namespace orvik
