#include "relay/Server.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <cerrno>
#include <future>

#include "relay/Log.h"
#include "relay/cluster/RelayMessage.h"

namespace orvik::relay {

namespace {

using asio::generic::stream_protocol;

/// So many connections at once; then others have their turn.
constexpr int acceptBatch = 64;
/// Scrapers and health checks; far above what anybody has.
constexpr std::size_t mostMonitoring = 32;
constexpr std::chrono::milliseconds acceptPause{50};
/// A limit that is reached again and again is told no more often.
constexpr std::chrono::minutes pauseLineInterval{1};

void removeSocketFile(const std::filesystem::path& file) {
  // Of an earlier run; one that somebody listens at, and anything else, stays, and listening fails.
  asio::io_context context;
  asio::local::stream_protocol::socket probe(context);
  boost::system::error_code error;
  probe.connect(asio::local::stream_protocol::endpoint(file.string()), error);
  if (error == asio::error::connection_refused && std::filesystem::is_socket(file)) {
    std::filesystem::remove(file);
  }
}

void makeNonBlocking(int descriptor) {
  ::fcntl(descriptor, F_SETFL, ::fcntl(descriptor, F_GETFL) | O_NONBLOCK);
  ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
}

/// Takes what other relays say to the loops that it is for.
class LoopsListener final : public NeighbourListener {
 public:
  explicit LoopsListener(SharedState& state) : shared(state) {}

  void heard(const Identifier& identifier, RelayID from, std::string_view message) override {
    // A loop that is behind misses something, as over a network that is.
    const std::size_t bytes = message.size();
    const std::size_t most = shared.limits.neighbourQueueBytes;
    if (waitingBytes + bytes > most) {
      isAnythingLost = isAnythingLost || !RelayMessage::isEnvelope(message);
      return;
    }
    waitingBytes += bytes;
    Loop& home = shared.home(identifier);
    home.post([this, &home, identifier, from, bytes, most, text = std::string(message)] {
      waitingBytes -= bytes;
      home.switchboard.heard(identifier, from, text);
      if (waitingBytes <= most / 2 && isAnythingLost.exchange(false)) {
        // Whoever has been missed may have left: all are asked anew.
        cutOff();
        back();
      }
    });
  }
  void gone(RelayID relay) override {
    forAll([relay](Switchboard& each) { each.gone(relay); });
  }
  void missed(RelayID relay) override {
    forAll([relay](Switchboard& each) { each.missed(relay); });
  }
  void cutOff() override {
    forAll([](Switchboard& each) { each.cutOff(); });
  }
  void back() override {
    forAll([](Switchboard& each) { each.back(); });
  }

 private:
  template <typename Call>
  void forAll(Call call) {
    for (const auto& loop : shared.loops) {
      loop->post([&loop = *loop, call] { call(loop.switchboard); });
    }
  }

  SharedState& shared;
  std::atomic<std::size_t> waitingBytes = 0;
  std::atomic<bool> isAnythingLost = false;
};

}  // namespace

Server::Server(const Limits& limits, std::shared_ptr<Clock> clock,
               std::unique_ptr<RecordStore> store)
    : shared(limits, std::move(clock), std::move(store)), front(shared) {
  for (std::size_t i = 0; i < std::max<std::size_t>(1, limits.threads); ++i) {
    shared.loops.push_back(std::make_unique<Loop>(shared));
  }
  shared.metrics = [this] {
    std::vector<const Counters*> all = {&front.counters};
    for (const auto& loop : shared.loops) {
      all.push_back(&loop->counters);
    }
    return metricsText(all) + metricsText(shared.store->state()) +
           metricsText(shared.pusher == nullptr ? PushState() : shared.pusher->state()) +
           (shared.neighbours == nullptr ? "" : metricsText(shared.neighbours->state()));
  };
  shared.notReady = [this] {
    const StoreState records = shared.store->state();
    if (stopping) {
      return std::optional<std::string>("shutting down");
    }
    if (!records.isAvailable()) {
      return std::optional("the store: " + std::string(text(records.health)) +
                           (records.why.empty() ? "" : " (" + records.why + ")"));
    }
    if (shared.neighbours == nullptr) {
      return std::optional<std::string>();
    }
    const NATSConnection::State others = shared.neighbours->state().connection;
    const std::string why = others.refusal.empty() ? "" : " (" + others.refusal + ")";
    return others.isConnected && why.empty() ? std::nullopt
                                             : std::optional("other relays cannot be heard" + why);
  };
}

Server::~Server() {
  for (const auto& loop : shared.loops) {
    loop->stop();
    loop->join();
  }
  shared.pusher.reset();
  shared.neighbours.reset();
  shared.store.reset();
  for (const Listener& listener : listeners) {
    if (!listener.file.empty()) {
      std::error_code ignored;
      std::filesystem::remove(listener.file, ignored);
    }
  }
}

ListenAddress Server::listen(const Listening& listening) {
  Listener listener{Acceptor(front.context), listening};
  const auto path = listening.address.path();
  if (path) {
    removeSocketFile(*path);
  }
  const stream_protocol::endpoint& endpoint = listening.address.endpoint;
  listener.acceptor.open(endpoint.protocol());
  if (!path) {
    listener.acceptor.set_option(asio::socket_base::reuse_address(true));
    if (const auto address = addressOf(endpoint); address && address->is_v6()) {
      // "[::]" means every address, also where the system's default is otherwise.
      listener.acceptor.set_option(asio::ip::v6_only(false));
    }
  }
  listener.acceptor.bind(endpoint);
  if (path) {
    listener.file = *path;
    // For the group of a server in front.
    ::chmod(path->c_str(), S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP);
  }
  listener.acceptor.native_non_blocking(true);
  listener.acceptor.listen();
  ListenAddress where = withPortOf(listener.acceptor.local_endpoint(), listening.address);
  listeners.push_back(std::move(listener));
  return where;
}

void Server::serve(Page page) { shared.page = std::make_unique<const Page>(std::move(page)); }

void Server::pushBy(const PushSender::Settings& settings, P256Key key) {
  const auto gone = [this](const Identifier& identifier, const std::string& endpoint) {
    Loop& home = shared.home(identifier);
    home.post(
        [&home, identifier, endpoint] { home.switchboard.endpointGone(identifier, endpoint); });
  };
  shared.pusher =
      std::make_unique<PushSender>(settings, std::move(key), shared.limits, shared.clock, gone);
  for (const auto& loop : shared.loops) {
    loop->switchboard.pushBy(*shared.pusher);
  }
}

void Server::join(const NATSNeighbours::Settings& cluster) {
  shared.listener = std::make_unique<LoopsListener>(shared);
  shared.neighbours = std::make_unique<NATSNeighbours>(
      cluster, shared.limits, shared.clock, *shared.listener,
      [](const std::string& line) { log(Priority::warning, line); });
  for (const auto& loop : shared.loops) {
    loop->switchboard.joinNeighbours(*shared.neighbours, [&loop = *loop] { return loop.now(); });
  }
}

void Server::run() {
  for (const auto& loop : shared.loops) {
    loop->start();
  }
  for (Listener& listener : listeners) {
    waitToAccept(listener);
  }
  front.run();
  for (const auto& loop : shared.loops) {
    loop->stop();
    loop->join();
  }
}

void Server::stop(Clock::Duration spread) {
  front.post([this, spread] { beginStopping(spread); });
}

void Server::beginStopping(Clock::Duration spread) {
  if (std::exchange(stopping, true)) {
    cutAll();
    return;
  }
  for (Listener& listener : listeners) {
    if (listener.listening.service == Service::clients) {
      boost::system::error_code ignored;
      listener.acceptor.close(ignored);
    }
  }
  for (const auto& loop : shared.loops) {
    loop->post([&loop = *loop, plan = Drain(front.now(), spread)] { loop.drain(plan); });
  }
  awaitEnd(front.now() + spread + shared.limits.shutdownTime);
}

void Server::awaitEnd(Instant last) {
  if (connectionCount() == 0) {
    front.stop();
    return;
  }
  if (front.now() >= last) {
    cutAll();
  }
  endTimer.expires_after(std::chrono::milliseconds(5));
  endTimer.async_wait([this, last](const boost::system::error_code& error) {
    if (!error) {
      awaitEnd(last);
    }
  });
}

void Server::cutAll() {
  for (const auto& loop : shared.loops) {
    loop->post([&loop = *loop] { loop.cutAll(); });
  }
}

std::size_t Server::connectionCount() const {
  std::int64_t count = 0;
  for (const auto& loop : shared.loops) {
    count += loop->counters.value(Metric::connections);
  }
  return static_cast<std::size_t>(std::max<std::int64_t>(count, 0));
}

void Server::check() {
  for (Loop* loop : [this] {
         std::vector<Loop*> all = {&front};
         for (const auto& each : shared.loops) {
           all.push_back(each.get());
         }
         return all;
       }()) {
    std::promise<void> done;
    loop->post([loop, &done] {
      loop->check();
      done.set_value();
    });
    done.get_future().wait();
  }
}

void Server::ask(const std::function<void()>& answered) {
  const auto left = std::make_shared<std::size_t>(shared.loops.size());
  for (const auto& loop : shared.loops) {
    loop->post([this, left, answered] {
      front.post([left, answered] {
        if (--*left == 0) {
          answered();
        }
      });
    });
  }
}

void Server::waitToAccept(Listener& listener) {
  listener.acceptor.async_wait(Acceptor::wait_read,
                               [this, &listener](const boost::system::error_code& error) {
                                 if (!error) {
                                   acceptSome(listener);
                                 }
                               });
}

void Server::acceptSome(Listener& listener) {
  for (int i = 0; i < acceptBatch; ++i) {
    if (listener.listening.service == Service::clients && shared.admission.isCrowded()) {
      shared.isCrowded = true;
      pause(listener, "too many connections have not authenticated");
      return;
    }
    if (listener.listening.service == Service::clients) {
      shared.isCrowded = false;
    }
    try {
      if (acceptOne(listener)) {
        continue;
      }
    } catch (const std::bad_alloc&) {
      errno = ENOMEM;
    }
    if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
      // An immediate new attempt would fail alike, for ever.
      pause(listener, std::generic_category().message(errno));
      return;
    }
    break;
  }
  waitToAccept(listener);
}

bool Server::acceptOne(Listener& listener) {
  stream_protocol::endpoint remote;
  auto size = static_cast<socklen_t>(remote.capacity());
  FileDescriptor descriptor(::accept(listener.acceptor.native_handle(), remote.data(), &size));
  if (!descriptor) {
    // The client has left before its turn came.
    return errno == ECONNABORTED || errno == EINTR || errno == EPROTO;
  }
  remote.resize(size);
  makeNonBlocking(descriptor.get());
  admit(listener, std::move(descriptor), remote);
  return true;
}

void Server::admit(Listener& listener, FileDescriptor descriptor,
                   const stream_protocol::endpoint& remote) {
  front.counters.add(Metric::accepted);
  const Listening& listening = listener.listening;
  Admission::Address address = addressOf(remote);
  if (listening.isProxied) {
    address.reset();
  }
  const int family = listening.address.endpoint.protocol().family();
  if (family != AF_UNIX) {
    // Messages are small and wanted now. A refusal costs speed only.
    const int on = 1;
    ::setsockopt(descriptor.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  }
  const bool isForClients = listening.service == Service::clients;
  if (isForClients) {
    if (const auto refusal = shared.admission.enter(address)) {
      front.counters.ended(*refusal);
      return;
    }
  } else if (front.size() >= mostMonitoring) {
    return;
  }
  Loop& loop = isForClients ? *shared.loops[nextLoop++ % shared.loops.size()] : front;
  loop.post([&loop, arrival = Arrival{std::move(descriptor), family, listening.service,
                                      listening.overTLS ? tls : nullptr, listening.isProxied,
                                      address}]() mutable { loop.take(std::move(arrival)); });
}

void Server::pause(Listener& listener, std::string_view why) {
  front.counters.add(Metric::acceptPauses);
  if (const Instant now = front.now(); now >= nextPauseLine) {
    log(Priority::warning, "accepting pauses: " + std::string(why));
    nextPauseLine = now + pauseLineInterval;
  }
  const auto timer = std::make_shared<asio::steady_timer>(front.context, acceptPause);
  timer->async_wait([this, &listener, timer](const boost::system::error_code& error) {
    if (!error && !stopping) {
      acceptSome(listener);
    }
  });
}

}  // namespace orvik::relay
