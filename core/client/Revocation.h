#pragma once

#include <boost/asio/any_io_executor.hpp>

#include <functional>
#include <memory>
#include <string>

#include "core/connection/PersistentConnection.h"
#include "core/pairing/RetiredPairing.h"

namespace orvik {

/// Tells a relay that a pairing has been replaced, so that its phones say so instead of waiting for
/// a computer that never comes back. Tries again until the relay knows, also while the user has
/// paused the link of the present pairing: nothing but the old identifier is told.
class Revocation final : public std::enable_shared_from_this<Revocation>,
                         private PersistentConnection::User {
 public:
  /// `relay` is the base URL. `done` is called once, on the executor, when the relay knows, or is
  /// one that takes no such message. `executor` runs one handler at a time. Owned by a
  /// std::shared_ptr: what it has begun keeps it alive.
  Revocation(const asio::any_io_executor& executor, std::shared_ptr<Clock> clock,
             std::shared_ptr<WebSocketSession> session, const std::string& relay,
             RetiredPairing pairing, std::function<void()> done);

  void start();

 private:
  asio::awaitable<void> run();
  void connecting() override {}
  asio::awaitable<void> talk(std::shared_ptr<PersistentConnection::Link> link) override;
  void waiting(std::chrono::seconds /*wait*/,
               const PersistentConnection::Ending& /*ending*/) override {}

  const asio::any_io_executor executor;
  const std::shared_ptr<Clock> clock;
  const RetiredPairing pairing;
  const std::function<void()> done;
  PersistentConnection connection;
};

}  // namespace orvik
