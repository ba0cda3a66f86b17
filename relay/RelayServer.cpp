#include "relay/RelayServer.h"

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <stdexcept>

#include "core/async/Timeout.h"
#include "relay/Connection.h"

namespace orvik::relay {

namespace {

using asio::ip::tcp;

constexpr auto asTuple = asio::as_tuple(asio::use_awaitable);

asio::ssl::context contextOf(const Certificate& certificate) {
  asio::ssl::context context(asio::ssl::context::tls_server);
  SSL_CTX* const handle = context.native_handle();
  SSL_CTX_set_min_proto_version(handle, TLS1_2_VERSION);
  SSL_CTX_set_options(handle, SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION);
  // Sessions resume by ticket; a cache would grow with every client.
  SSL_CTX_set_session_cache_mode(handle, SSL_SESS_CACHE_OFF);
  try {
    context.use_certificate_chain(asio::buffer(certificate.chain));
    context.use_private_key(asio::buffer(certificate.key), asio::ssl::context::pem);
  } catch (const boost::system::system_error& error) {
    throw std::runtime_error("the certificate cannot be used: " + error.code().message());
  }
  return context;
}

tcp::acceptor listenAt(asio::io_context& context, const tcp::endpoint& endpoint) {
  tcp::acceptor acceptor(context, endpoint.protocol());
  acceptor.set_option(tcp::acceptor::reuse_address(true));
  if (endpoint.address().is_v6()) {
    // "[::]" means every address, also where the system's default is otherwise.
    acceptor.set_option(asio::ip::v6_only(false));
  }
  acceptor.bind(endpoint);
  acceptor.listen();
  return acceptor;
}

}  // namespace

RelayServer::RelayServer(asio::io_context& context, const tcp::endpoint& endpoint,
                         const Certificate& certificate, std::shared_ptr<Clock> clock,
                         RecordStore& store, const Limits& limits)
    : context(context),
      acceptor(listenAt(context, endpoint)),
      exchange(std::make_shared<Exchange>(
          limits, std::move(clock), contextOf(certificate), store,
          [&context](std::function<void()> call) { asio::post(context, std::move(call)); })),
      changed(context.get_executor()) {}

RelayServer::~RelayServer() = default;

tcp::endpoint RelayServer::listenPlain(const tcp::endpoint& endpoint) {
  if (!endpoint.address().is_loopback()) {
    throw std::invalid_argument("without TLS it listens on loopback only");
  }
  plainAcceptor = listenAt(context, endpoint);
  return plainAcceptor->local_endpoint();
}

void RelayServer::serve(Page page) {
  exchange->page = std::make_unique<const Page>(std::move(page));
}

tcp::endpoint RelayServer::endpoint() const { return acceptor.local_endpoint(); }

asio::awaitable<void> RelayServer::run() {
  using namespace asio::experimental::awaitable_operators;
  auto serving = acceptAll(acceptor) && acceptPlain() && checkAll();
  const auto outcome =
      co_await (failureOf(std::move(serving)) || changed.until([this] { return stopping; }));
  if (const std::exception_ptr* const failure = std::get_if<0>(&outcome)) {
    std::rethrow_exception(*failure);
  }
  acceptor.close();
  plainAcceptor.reset();
  for (const auto& connection : connections) {
    connection->close(CloseReason::shuttingDown);
  }
  const auto allEnded = [this] { return connections.empty(); };
  co_await (changed.until(allEnded) || pause(exchange->limits.shutdownTime));
  for (const auto& connection : connections) {
    connection->cut();
  }
  co_await changed.until(allEnded);
}

void RelayServer::stop() {
  stopping = true;
  changed.notify();
}

asio::awaitable<void> RelayServer::acceptPlain() {
  if (plainAcceptor) {
    co_await acceptAll(*plainAcceptor);
  }
}

asio::awaitable<void> RelayServer::acceptAll(tcp::acceptor& listener) {
  for (;;) {
    auto [error, socket] = co_await listener.async_accept(asTuple);
    if (!error) {
      admit(std::move(socket), &listener == &acceptor);
    } else {
      // Out of file descriptors or memory: an immediate new attempt would fail alike, for ever.
      co_await pause(exchange->limits.checkInterval);
    }
  }
}

asio::awaitable<void> RelayServer::checkAll() {
  for (;;) {
    co_await pause(exchange->limits.checkInterval);
    const Instant now = exchange->clock->now();
    exchange->switchboard.expire(now);
    for (const auto& connection : connections) {
      connection->check(now);
    }
  }
}

asio::awaitable<void> RelayServer::pause(Clock::Duration duration) {
  bool failed = false;
  try {
    co_await exchange->clock->sleepFor(duration);
  } catch (const boost::system::system_error& error) {
    failed = error.code() != asio::error::operation_aborted;
  }
  if (failed) {
    asio::steady_timer timer(context, duration);
    co_await timer.async_wait(asTuple);
  }
}

void RelayServer::admit(tcp::socket socket, bool overTLS) {
  boost::system::error_code error;
  const tcp::endpoint remote = socket.remote_endpoint(error);
  if (error || !exchange->admission.enter(remote.address())) {
    return;
  }
  // Messages are small and wanted now. A refusal costs speed only.
  socket.set_option(tcp::no_delay(true), error);
  const auto connection =
      std::make_shared<Connection>(std::move(socket), remote.address(), overTLS, exchange);
  connections.insert(connection);
  asio::co_spawn(context, connection->run(), [this, connection](const std::exception_ptr&) {
    // However it ended, an exception for want of memory included, it is over.
    connection->abandon();
    exchange->admission.leave(connection->remoteAddress(), connection->isAuthenticated());
    connections.erase(connection);
    changed.notify();
  });
}

}  // namespace orvik::relay
