#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace orvik {

namespace asio = boost::asio;

/// WebSocket close codes that this system sends or understands.
namespace closeCode {
inline constexpr std::uint16_t normal = 1000;
inline constexpr std::uint16_t goingAway = 1001;
/// The relay does not know this pairing.
inline constexpr std::uint16_t pairingRejected = 4403;
}  // namespace closeCode

/// One text or binary message.
struct WebSocketMessage {
  bool isText;
  std::string content;
};

/// One WebSocket connection, from its creation to its end. Everything runs on the executor that
/// it was made for. An operation that fails, or is cancelled, throws
/// boost::system::system_error. Cancelling an operation gives up waiting for it and leaves the
/// connection whole: a message that has begun to be sent is sent to its end.
class WebSocketTask {
 public:
  virtual ~WebSocketTask() = default;

  /// Distinguishes this task from every other one of its session.
  [[nodiscard]] virtual int identifier() const = 0;

  /// Connects. Called once, before anything but close().
  virtual asio::awaitable<void> connect() = 0;

  /// Sends one text message; resumes when the system has taken all of it. Messages are sent in
  /// the order of their calls, also overlapping ones.
  virtual asio::awaitable<void> send(std::string text) = 0;

  /// The next message. Fails when the connection has ended, or the other side has begun to close
  /// it.
  virtual asio::awaitable<WebSocketMessage> receive() = 0;

  /// Begins to close and returns at once; whoever made the task learns of the end. Harmless when
  /// repeated.
  virtual void close(std::uint16_t code) = 0;

  /// The code that the other side closed with, once it has.
  [[nodiscard]] virtual std::optional<std::uint16_t> receivedCloseCode() const = 0;
};

/// Told by a session when one of its tasks has ended, in whatever way. May be called from any
/// thread, and more than once for one task.
class WebSocketObserver {
 public:
  virtual ~WebSocketObserver() = default;
  virtual void didComplete(int taskIdentifier) = 0;
};

/// Makes the tasks of one client, which share trust settings and nothing else.
class WebSocketSession {
 public:
  virtual ~WebSocketSession() = default;
  /// A task for a wss URL that has not begun to connect. `observer` is kept until the task ends.
  [[nodiscard]] virtual std::shared_ptr<WebSocketTask> webSocketTask(
      const std::string& url, asio::any_io_executor executor,
      std::shared_ptr<WebSocketObserver> observer) = 0;
};

}  // namespace orvik
