#pragma once

#include <boost/asio/basic_socket_acceptor.hpp>
#include <boost/asio/generic/stream_protocol.hpp>

#include <filesystem>
#include <list>

#include "relay/Connection.h"
#include "relay/ListenAddress.h"
#include "relay/Loop.h"

namespace orvik::relay {

/// Accepts connections and gives them to its event loops. Belongs to the thread that calls `run`,
/// but for `stop` and `check`.
class Server {
 public:
  /// Where something is listened for, and what is behind it.
  struct Listening {
    ListenAddress address{};
    Service service = Service::clients;
    bool overTLS = false;
    bool isProxied = false;
  };

  Server(const Limits& limits, std::shared_ptr<Clock> clock, std::unique_ptr<RecordStore> store);
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  ~Server();

  /// Listens at once; connections wait for `run`. Gives where it listens, with the port that the
  /// system has chosen. Throws boost::system::system_error when that cannot be had.
  ListenAddress listen(const Listening& listening);
  /// What TLS connections begin with from now on. Called on the server's loop, or before `run`.
  void use(TLSContext context) { tls = std::move(context); }
  /// Serves the page to browsers. Called before `run`.
  void serve(Page page);
  /// Pushes alerts to phones that are not connected. Called before `run`. Throws
  /// std::runtime_error, with one line, when a setting is of no use.
  void pushBy(const PushSender::Settings& settings, P256Key key);
  /// Serves identifiers together with the other relays of a cluster. Called before `run`. Throws
  /// std::runtime_error, with one line, when a setting is of no use.
  void join(const NATSNeighbours::Settings& cluster);
  void setVerbose(bool isVerbose) { shared.isVerbose = isVerbose; }

  /// Serves until everything has ended after `stop` or `drain`.
  void run();
  /// Takes no more connections and closes those that are there over this time; then they have
  /// `Limits::shutdownTime` to end. A second call cuts them. From any thread.
  void stop(Clock::Duration spread = {});
  /// Looks at all deadlines now and waits for that: for clocks that are moved by hand. From any
  /// thread that is none of the relay's.
  void check();
  /// Whether all loops answer: calls `answered` on the server's loop once they have.
  void ask(const std::function<void()>& answered);

  /// The server's own event loop, for what runs beside: signals, timers.
  [[nodiscard]] asio::io_context& context() { return front.context; }
  /// The server's own counters, for what is not a connection's.
  [[nodiscard]] Counters& counters() { return front.counters; }
  [[nodiscard]] bool isStopping() const noexcept { return stopping; }

 private:
  using Acceptor =
      asio::basic_socket_acceptor<asio::generic::stream_protocol, asio::io_context::executor_type>;
  struct Listener {
    Acceptor acceptor;
    Listening listening;
    /// Of a local socket: removed at the end.
    std::filesystem::path file{};
  };

  void waitToAccept(Listener& listener);
  void acceptSome(Listener& listener);
  /// False when there is nothing to be accepted now.
  [[nodiscard]] bool acceptOne(Listener& listener);
  void admit(Listener& listener, FileDescriptor descriptor,
             const asio::generic::stream_protocol::endpoint& remote);
  void pause(Listener& listener, std::string_view why);
  void beginStopping(Clock::Duration spread);
  void awaitEnd(Instant last);
  void cutAll();
  [[nodiscard]] std::size_t connectionCount() const;

  SharedState shared;
  /// Accepts, and has the connections for monitoring.
  Loop front;
  TLSContext tls;
  std::list<Listener> listeners;
  asio::steady_timer endTimer{front.context};
  std::size_t nextLoop = 0;
  Instant nextPauseLine = Instant::min();
  bool stopping = false;
};

}  // namespace orvik::relay
