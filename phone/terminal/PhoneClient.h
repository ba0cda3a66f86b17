#pragma once

#include <boost/asio/awaitable.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/async/Clock.h"
#include "core/connection/PersistentConnection.h"
#include "core/pairing/Pairing.h"
#include "phone/terminal/PhoneObserver.h"

namespace orvik {

/// A phone's connection to its computer: says that somebody is looking, and opens what arrives. A
/// relay that counts alerts is told which was the last. All of it runs on the executor of the
/// coroutine that calls it.
class PhoneClient : private PersistentConnection::User {
 public:
  /// The relay refused this pairing for good, or the observer wants no more.
  using End = PersistentConnection::End;

  /// `relay` is the base URL of the relay, which WebSocketURL has accepted. The observer outlives
  /// the client.
  PhoneClient(Pairing pairing, std::string_view relay, std::shared_ptr<WebSocketSession> session,
              std::shared_ptr<Clock> clock, PhoneObserver& observer);

  /// Stays connected, with a growing wait between failed attempts, until one of the ends.
  /// Cancellable. Called once.
  asio::awaitable<End> run() { return connection.run(); }

  /// Closes the connection, if there is one, and waits for the relay's answer, at most 2 s.
  /// Called after run() has ended.
  asio::awaitable<void> stop() { return connection.close(); }

 private:
  using Link = std::shared_ptr<PersistentConnection::Link>;

  void connecting() override;
  asio::awaitable<void> talk(Link link) override;
  void waiting(std::chrono::seconds wait, const PersistentConnection::Ending& ending) override;
  /// Whether more is wanted.
  [[nodiscard]] bool take(const std::string& message, PersistentConnection::Link& link);
  [[nodiscard]] bool open(const std::string& message);

  const Pairing pairing;
  PhoneObserver& observer;
  /// The number of the last alert that has come, 0 before the first; and of the one that comes
  /// next.
  std::int64_t lastAlert = 0;
  std::optional<std::int64_t> nextAlert;
  PersistentConnection connection;
};

}  // namespace orvik
