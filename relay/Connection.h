#pragma once

#include <boost/beast/websocket/stream.hpp>

#include <algorithm>
#include <memory>
#include <optional>

#include "core/async/Notifier.h"
#include "relay/ClientStream.h"
#include "relay/Exchange.h"
#include "relay/HTTPAnswer.h"
#include "relay/OutboundQueue.h"
#include "relay/Session.h"

namespace orvik::relay {

/// One client's connection, from the accepted socket to its end. Everything runs on the socket's
/// executor.
class Connection final : public Peer, public std::enable_shared_from_this<Connection> {
 public:
  Connection(asio::ip::tcp::socket socket, const asio::ip::address& address, bool overTLS,
             std::shared_ptr<Exchange> exchange);

  /// Serves the client until the connection has ended. Called once; whoever calls it keeps the
  /// connection alive meanwhile.
  asio::awaitable<void> run();

  void send(SharedText message) override;
  void close(CloseReason reason) override;
  /// Ends the connection without a word.
  void cut();
  /// Forgets a connection whose `run` has ended, in whatever way.
  void abandon();
  /// Acts on deadlines and floods; called regularly.
  void check(Instant now);

  [[nodiscard]] const asio::ip::address& remoteAddress() const noexcept { return address; }
  /// Whether it has been counted as authenticated.
  [[nodiscard]] bool isAuthenticated() const noexcept { return authenticated; }

 private:
  using WebSocket = boost::beast::websocket::stream<ClientStream, false>;

  /// Everything up to the WebSocket. False when the connection is no WebSocket.
  asio::awaitable<bool> establish();
  using Request = http::request<http::empty_body>;
  /// The WebSocket's part of `establish`.
  asio::awaitable<bool> upgrade(const Request& request);
  /// False when it could not be sent, or is the last.
  asio::awaitable<bool> answer(HTTPAnswer response);
  asio::awaitable<void> receive();
  /// One whole message. False when the connection has ended instead.
  asio::awaitable<bool> receive(std::string& message);
  asio::awaitable<void> transmit();
  asio::awaitable<void> finish();

  void configureWebSocket();
  void received(const SharedText& message);
  void leave();
  [[nodiscard]] Instant now() const { return exchange->clock->now(); }
  /// From here on the other side has little time.
  void limitClosing() { cutAt = std::min(cutAt, now() + exchange->limits.closingTime); }
  [[nodiscard]] ClientStream& stream() { return webSocket.next_layer(); }

  const std::shared_ptr<Exchange> exchange;
  const asio::ip::address address;
  WebSocket webSocket;
  Notifier changed;
  OutboundQueue outbound;
  /// From the upgrade on.
  std::unique_ptr<Session> session;
  RateLimit inboundBytes;
  std::uint64_t bytesSeen = 0;
  Instant cutAt;
  std::optional<boost::beast::websocket::close_reason> closing;
  bool receiveEnded = false;
  bool authenticated = false;
};

}  // namespace orvik::relay
