#include "relay/Connection.h"

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>

#include <array>

namespace orvik::relay {

namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;

namespace {

constexpr auto asTuple = asio::as_tuple(asio::use_awaitable);
constexpr const char* serverName = "orvik-relay";

std::string_view viewOf(beast::string_view text) { return {text.data(), text.size()}; }

}  // namespace

Connection::Connection(asio::ip::tcp::socket socket, const asio::ip::address& address,
                       std::shared_ptr<Exchange> exchangeUsed)
    : exchange(std::move(exchangeUsed)),
      address(address),
      webSocket(std::move(socket), exchange->tls),
      changed(webSocket.get_executor()),
      outbound(exchange->limits),
      inboundBytes(exchange->limits.phoneBytes, now()),
      cutAt(now() + exchange->limits.upgradeTime) {}

asio::awaitable<void> Connection::run() {
  using namespace asio::experimental::awaitable_operators;
  if (co_await establish()) {
    co_await (receive() && transmit());
  }
  leave();
  co_await finish();
}

asio::awaitable<bool> Connection::establish() {
  const auto [handshakeError] =
      co_await stream().async_handshake(asio::ssl::stream_base::server, asTuple);
  if (handshakeError) {
    cut();
    co_return false;
  }
  beast::flat_buffer buffer(exchange->limits.requestHeader);
  http::request_parser<http::empty_body> parser;
  parser.header_limit(static_cast<std::uint32_t>(exchange->limits.requestHeader));
  const auto [readError, size] =
      co_await http::async_read_header(stream(), buffer, parser, asTuple);
  // A client that talks on before the upgrade is answered does not speak this protocol.
  if (readError || buffer.size() > 0) {
    co_await answer(400, "bad request\n");
    co_return false;
  }
  const auto& request = parser.get();
  if (!websocket::is_upgrade(request)) {
    const bool isHealthCheck =
        request.method() == http::verb::get && request.target() == "/healthz";
    if (isHealthCheck) {
      co_await answer(200, "ok\n");
    } else {
      co_await answer(404, "not found\n");
    }
    co_return false;
  }
  const std::optional<Target> target = Target::of(viewOf(request.target()));
  if (!target) {
    co_await answer(404, "not found\n");
    co_return false;
  }
  configureWebSocket();
  const auto [acceptError] = co_await webSocket.async_accept(request, asTuple);
  if (acceptError) {
    co_return false;
  }
  session =
      std::make_unique<Session>(*target, *this, exchange->switchboard, exchange->limits, now());
  cutAt = Instant::max();
  co_return true;
}

asio::awaitable<void> Connection::answer(unsigned status, std::string_view body) {
  http::response<http::string_body> response(static_cast<http::status>(status), 11);
  response.set(http::field::server, serverName);
  response.set(http::field::content_type, "text/plain");
  response.keep_alive(false);
  response.body() = body;
  response.prepare_payload();
  // Whether it arrives is the client's affair: the connection ends either way.
  co_await http::async_write(stream(), response, asTuple);
}

void Connection::configureWebSocket() {
  // Its own time-outs do not follow our clock; `check` has those that count.
  webSocket.set_option(websocket::stream_base::timeout{websocket::stream_base::none(),
                                                       websocket::stream_base::none(), false});
  webSocket.set_option(websocket::stream_base::decorator(
      [](websocket::response_type& response) { response.set(http::field::server, serverName); }));
  webSocket.read_message_max(exchange->limits.phoneMessage);
  webSocket.auto_fragment(false);
  webSocket.text(true);
  webSocket.control_callback([this](websocket::frame_type frame, beast::string_view) {
    session->receivedControlFrame(now());
    if (frame == websocket::frame_type::close) {
      limitClosing();
    }
  });
}

asio::awaitable<void> Connection::receive() {
  for (;;) {
    // Read into what all phones then share: a message is never copied.
    const auto message = std::make_shared<std::string>();
    if (!co_await receive(*message)) {
      break;
    }
    received(message);
  }
  receiveEnded = true;
  // At once, even when a message is still being written: nothing more can be sent to it.
  leave();
  limitClosing();
  changed.notify();
}

asio::awaitable<bool> Connection::receive(std::string& message) {
  // In pieces of a TLS record's size: memory is taken as data comes, not as a header promises it.
  constexpr std::size_t piece = 16 * Limits::kibibyte;
  auto buffer = asio::dynamic_buffer(message);
  do {
    const auto [error, size] = co_await webSocket.async_read_some(buffer, piece, asTuple);
    if (error) {
      co_return false;
    }
  } while (!webSocket.is_message_done());
  co_return true;
}

void Connection::received(const SharedText& message) {
  if (closing) {
    return;
  }
  session->received(webSocket.got_text(), message, now());
  if (session->isAuthenticated() && !authenticated) {
    authenticated = true;
    exchange->admission.authenticate(address);
    webSocket.read_message_max(session->messageLimit());
    inboundBytes = RateLimit(session->byteRate(), now());
  }
}

asio::awaitable<void> Connection::transmit() {
  while (!closing && !receiveEnded) {
    if (outbound.empty()) {
      co_await changed.until([this] { return closing || receiveEnded || !outbound.empty(); });
      continue;
    }
    const SharedText message = outbound.front();
    const auto [error, size] = co_await webSocket.async_write(asio::buffer(*message), asTuple);
    outbound.pop();
    if (error) {
      // The reading side knows why, and ends too.
      limitClosing();
      co_return;
    }
  }
  if (!receiveEnded) {
    co_await webSocket.async_close(*closing, asTuple);
  }
}

asio::awaitable<void> Connection::finish() {
  limitClosing();
  asio::ip::tcp::socket& socket = stream().next_layer();
  if (socket.is_open()) {
    co_await stream().async_shutdown(asTuple);
  }
  // Closing a socket with unread data resets the connection, and the reset overtakes the close
  // code that was sent: the client's data is read to its end first.
  boost::system::error_code error;
  socket.shutdown(asio::ip::tcp::socket::shutdown_send, error);
  std::array<char, 4096> ignored{};
  while (!error) {
    const auto [readError, size] = co_await socket.async_read_some(asio::buffer(ignored), asTuple);
    error = readError;
  }
  cut();
}

void Connection::send(SharedText message) {
  if (closing || receiveEnded) {
    return;
  }
  if (outbound.push(std::move(message))) {
    changed.notify();
  } else {
    close(closeCode::tryAgainLater, "too slow");
  }
}

void Connection::close(std::uint16_t code, std::string_view reason) {
  if (!session) {
    cut();
  } else if (!closing) {
    closing.emplace().code = code;
    closing->reason.assign(reason.data(), reason.size());
    limitClosing();
    changed.notify();
    // Not at once: the caller may be going through the list that this would change.
    asio::post(webSocket.get_executor(), [self = shared_from_this()] { self->leave(); });
  }
}

void Connection::cut() {
  boost::system::error_code ignored;
  stream().next_layer().close(ignored);
}

void Connection::abandon() {
  cut();
  leave();
}

void Connection::check(Instant now) {
  const std::uint64_t bytes = stream().bytesRead();
  const auto fresh = static_cast<double>(bytes - std::exchange(bytesSeen, bytes));
  const bool isFlood = !inboundBytes.take(now, fresh);
  // Who floods on after being told to stop is not waited for.
  if (now >= cutAt || (isFlood && closing)) {
    cut();
  } else if (isFlood) {
    close(closeCode::rateExceeded, "too many bytes");
  } else if (session && !closing) {
    session->check(now);
  }
}

void Connection::leave() {
  if (session) {
    session->ended();
  }
}

}  // namespace orvik::relay
