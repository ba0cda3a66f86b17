#pragma once

#include <boost/asio/awaitable.hpp>

#include <memory>
#include <string>
#include <string_view>

#include "core/async/Clock.h"
#include "core/connection/CloseWatcher.h"
#include "core/connection/WebSocketTask.h"
#include "core/pairing/Pairing.h"
#include "phone/terminal/PhoneObserver.h"

namespace orvik {

/// A phone's connection to its computer: connects to the relay, says that somebody is looking,
/// opens what arrives, notices a dead link, and connects again. All of it runs on the executor of
/// the coroutine that calls it.
class PhoneClient {
 public:
  enum class End {
    /// The relay refused this pairing for good.
    rejected,
    /// The observer wants no more, or run() was cancelled.
    finished,
  };

  /// `relay` is the base URL of the relay, which WebSocketURL has accepted. The observer outlives
  /// the client.
  PhoneClient(Pairing pairing, std::string_view relay, std::shared_ptr<WebSocketSession> session,
              std::shared_ptr<Clock> clock, PhoneObserver& observer);

  /// Stays connected, with a growing wait between failed attempts, until one of the ends.
  /// Cancellable. Called once.
  asio::awaitable<End> run();

  /// Closes the connection, if there is one, and waits for the relay's answer, at most 2 s.
  /// Called after run() has ended.
  asio::awaitable<void> stop();

 private:
  asio::awaitable<void> connectOnce();
  asio::awaitable<void> converse();
  asio::awaitable<void> receiveMessages();
  asio::awaitable<void> watchLink();
  void take(const std::string& message);
  void open(const std::string& message);
  [[nodiscard]] std::string endReason() const;

  const Pairing pairing;
  const std::string url;
  const std::shared_ptr<WebSocketSession> session;
  const std::shared_ptr<Clock> clock;
  const std::shared_ptr<CloseWatcher> closures = std::make_shared<CloseWatcher>();
  PhoneObserver& observer;

  /// The current connection; none between connections.
  std::shared_ptr<WebSocketTask> task;
  Instant lastInbound;
  /// The relay has accepted the current connection.
  bool accepted = false;
  /// The observer wants more.
  bool wanted = true;
  /// What ended the current connection, as the system puts it.
  std::string failure;
};

}  // namespace orvik
