#pragma once

#include <boost/asio/awaitable.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include <memory>
#include <optional>
#include <set>

#include "core/async/Clock.h"
#include "core/async/Notifier.h"
#include "relay/Certificate.h"
#include "relay/Limits.h"
#include "relay/Page.h"

namespace orvik::relay {

class Connection;
struct Exchange;
class RecordStore;

/// Accepts connections and looks after them. Everything runs on `context`, in one thread.
class RelayServer {
 public:
  /// Listens at once. `store` answers until the server and all of its connections are gone, but
  /// not after `context`. Throws boost::system::system_error when the endpoint cannot be had,
  /// another std::runtime_error when TLS refuses the certificate.
  RelayServer(asio::io_context& context, const asio::ip::tcp::endpoint& endpoint,
              const Certificate& certificate, std::shared_ptr<Clock> clock, RecordStore& store,
              const Limits& limits = {});
  ~RelayServer();

  /// Listens there too, without TLS: for a browser on this machine, or a server on it that has the
  /// TLS. Called before `run`. Gives where it listens. Throws std::invalid_argument for an address
  /// that others can reach, otherwise like the constructor.
  asio::ip::tcp::endpoint listenPlain(const asio::ip::tcp::endpoint& endpoint);
  /// Serves the page to browsers. Called before `run`.
  void serve(Page page);

  /// Where it listens, with the port that the system chose when none was asked for.
  [[nodiscard]] asio::ip::tcp::endpoint endpoint() const;

  /// Serves until stop() is called and all connections have ended. The server must not be
  /// destroyed before that, unless the context runs no more. Throws when it cannot go on, for
  /// want of memory.
  asio::awaitable<void> run();

  /// Begins to shut down: clients are told, and have `Limits::shutdownTime` to end.
  void stop();

 private:
  /// Neither ends by itself.
  asio::awaitable<void> acceptAll(asio::ip::tcp::acceptor& listener);
  asio::awaitable<void> acceptPlain();
  asio::awaitable<void> checkAll();
  /// Waits on the clock. Without room for another file descriptor, which the clock may need,
  /// waits on the timer that the context has anyway. Throws nothing.
  asio::awaitable<void> pause(Clock::Duration duration);
  void admit(asio::ip::tcp::socket socket, bool overTLS);

  asio::io_context& context;
  asio::ip::tcp::acceptor acceptor;
  std::optional<asio::ip::tcp::acceptor> plainAcceptor;
  const std::shared_ptr<Exchange> exchange;
  std::set<std::shared_ptr<Connection>> connections;
  Notifier changed;
  bool stopping = false;
};

}  // namespace orvik::relay
