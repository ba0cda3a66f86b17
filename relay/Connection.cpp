#include "relay/Connection.h"

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <array>

#include "relay/HTTPTransfer.h"

namespace orvik::relay {

namespace beast = boost::beast;
namespace websocket = beast::websocket;

namespace {

constexpr auto asTuple = asio::as_tuple(asio::use_awaitable);
constexpr const char* serverName = "orvik-relay";

std::string_view viewOf(beast::string_view text) { return {text.data(), text.size()}; }

}  // namespace

Connection::Connection(asio::ip::tcp::socket socket, const asio::ip::address& address, bool overTLS,
                       std::shared_ptr<Exchange> exchangeUsed)
    : exchange(std::move(exchangeUsed)),
      address(address),
      webSocket(std::move(socket), overTLS ? &exchange->tls : nullptr),
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
  const auto handshakeError = co_await acceptTLS(stream());
  if (handshakeError) {
    cut();
    co_return false;
  }
  beast::flat_buffer buffer(exchange->limits.requestHeader);
  for (std::size_t left = exchange->limits.requests; left > 0; --left) {
    RequestParser parser;
    parser.header_limit(static_cast<std::uint32_t>(exchange->limits.requestHeader));
    const auto readError = co_await readHead(stream(), buffer, parser);
    const bool isUpgrade = !readError && websocket::is_upgrade(parser.get());
    if (readError == http::error::end_of_stream) {
      co_return false;
    }
    // A client that talks on before the upgrade is answered does not speak this protocol.
    if (readError || (isUpgrade && buffer.size() > 0)) {
      co_await answer(lineOfText(http::status::bad_request, "bad request\n"));
      co_return false;
    }
    if (isUpgrade) {
      co_return co_await upgrade(parser.get());
    }
    HTTPAnswer response = answerTo(parser.get(), exchange->page.get(), stream().tls() != nullptr);
    // A body, which no request here needs, is not waited for; nor is a client that goes wrong.
    response.keep_alive(left > 1 && parser.get().keep_alive() && parser.is_done() &&
                        response.result() < http::status::bad_request);
    if (!co_await answer(std::move(response))) {
      co_return false;
    }
    cutAt = now() + exchange->limits.requestWait;
  }
  co_return false;
}

asio::awaitable<bool> Connection::upgrade(const Request& request) {
  const std::optional<Target> target = Target::of(viewOf(request.target()));
  if (!target) {
    co_await answer(lineOfText(http::status::not_found, "not found\n"));
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

asio::awaitable<bool> Connection::answer(HTTPAnswer response) {
  response.set(http::field::server, serverName);
  cutAt = now() + exchange->limits.answerTime;
  const auto error = co_await write(stream(), response);
  co_return !error && response.keep_alive();
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
    std::string message;
    if (!co_await receive(message)) {
      break;
    }
    received(framedText(message));
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
    const auto [error, size] =
        co_await webSocket.async_write(asio::buffer(message->text()), asTuple);
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
  co_await endTLS(stream());
  asio::ip::tcp::socket& socket = stream().socket();
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
    close(CloseReason::tooSlow);
  }
}

void Connection::close(CloseReason reason) {
  if (!session) {
    cut();
  } else if (!closing) {
    closing.emplace().code = rowOf(reason).code;
    closing->reason.assign(rowOf(reason).words.data(), rowOf(reason).words.size());
    limitClosing();
    changed.notify();
    // Not at once: the caller may be going through the list that this would change.
    asio::post(webSocket.get_executor(), [self = shared_from_this()] { self->leave(); });
  }
}

void Connection::cut() {
  boost::system::error_code ignored;
  stream().socket().close(ignored);
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
    close(CloseReason::tooManyBytes);
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
