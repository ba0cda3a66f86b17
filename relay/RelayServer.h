#pragma once

#include <boost/asio/awaitable.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include <memory>
#include <set>

#include "core/async/Clock.h"
#include "core/async/Notifier.h"
#include "relay/Certificate.h"
#include "relay/Limits.h"

namespace orvik::relay {

class Connection;
struct Exchange;

/// Accepts connections and looks after them. Everything runs on `context`, in one thread.
class RelayServer {
 public:
  /// Listens at once. Throws boost::system::system_error when the endpoint cannot be had, another
  /// std::runtime_error when TLS refuses the certificate.
  RelayServer(asio::io_context& context, const asio::ip::tcp::endpoint& endpoint,
              const Certificate& certificate, std::shared_ptr<Clock> clock,
              const Limits& limits = {});
  ~RelayServer();

  /// Where it listens, with the port that the system chose when none was asked for.
  [[nodiscard]] asio::ip::tcp::endpoint endpoint() const;

  /// Serves until stop() is called and all connections have ended. The server must not be
  /// destroyed before that, unless the context runs no more. Throws when it cannot go on, for
  /// want of memory.
  asio::awaitable<void> run();

  /// Begins to shut down: clients are told, and have `Limits::shutdownTime` to end.
  void stop();

 private:
  /// Never ends by itself.
  asio::awaitable<void> serve();
  asio::awaitable<void> acceptAll();
  asio::awaitable<void> checkAll();
  /// Waits on the clock. Without room for another file descriptor, which the clock may need,
  /// waits on the timer that the context has anyway. Throws nothing.
  asio::awaitable<void> pause(Clock::Duration duration);
  void admit(asio::ip::tcp::socket socket);

  asio::io_context& context;
  asio::ip::tcp::acceptor acceptor;
  const std::shared_ptr<Exchange> exchange;
  std::set<std::shared_ptr<Connection>> connections;
  Notifier changed;
  bool stopping = false;
};

}  // namespace orvik::relay
