// The least that a relay can do, for others to be measured against: one event loop that reads a
// WebSocket frame of one client and writes it to the other client that has named the same path's
// end. It checks nothing, keeps nothing and limits nothing. Loopback only:
//
//   bare_relay [CERTIFICATE KEY]
//
// With a certificate (PEM) over TLS, otherwise plain. Says where it listens and serves until it is
// told to end.

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <unordered_map>
#include <vector>

#include "bench/load/Frames.h"
#include "bench/load/Transport.h"

namespace {

using namespace orvik;
using namespace orvik::load;

struct Peer {
  Transport transport;
  std::string name;
  std::string in;
  std::string out;
  Peer* other = nullptr;
  bool isUpgraded = false;
  bool awaitsWriting = false;
};

class BareRelay {
 public:
  BareRelay(const char* certificate, const char* key) : events(epoll_create1(EPOLL_CLOEXEC)) {
    if (certificate != nullptr) {
      context.reset(SSL_CTX_new(TLS_server_method()));
      if (!context || SSL_CTX_use_certificate_chain_file(context.get(), certificate) != 1 ||
          SSL_CTX_use_PrivateKey_file(context.get(), key, SSL_FILETYPE_PEM) != 1) {
        throw std::runtime_error("the certificate or its key cannot be used");
      }
      SSL_CTX_set_mode(context.get(),
                       SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
      SSL_CTX_set_read_ahead(context.get(), 1);
    }
    listen();
  }

  [[noreturn]] void run() {
    std::vector<epoll_event> ready(256);
    for (;;) {
      const int count = epoll_wait(events.get(), ready.data(), static_cast<int>(ready.size()), -1);
      for (int at = 0; at < count; ++at) {
        const epoll_event& event = ready[static_cast<std::size_t>(at)];
        if (event.data.ptr == nullptr) {
          accept();
        } else {
          serve(*static_cast<Peer*>(event.data.ptr), event.events);
        }
      }
      ended.clear();
    }
  }

 private:
  void listen() {
    listener = FileDescriptor(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(listener.get(), reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        ::listen(listener.get(), SOMAXCONN) != 0 ||
        getsockname(listener.get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
      throw std::runtime_error("cannot listen on loopback");
    }
    epoll_event event{};
    event.events = EPOLLIN;
    epoll_ctl(events.get(), EPOLL_CTL_ADD, listener.get(), &event);
    std::printf("bare_relay: listening on %s://127.0.0.1:%d\n", context ? "wss" : "ws",
                ntohs(address.sin_port));
    std::fflush(stdout);
  }

  void accept() {
    FileDescriptor socket(accept4(listener.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!socket) {
      return;
    }
    const int number = socket.get();
    const int yes = 1;
    setsockopt(number, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    SSLHandle session;
    if (context) {
      session.reset(SSL_new(context.get()));
      SSL_set_fd(session.get(), number);
      SSL_set_accept_state(session.get());
    }
    auto peer =
        std::make_unique<Peer>(Peer{Transport(std::move(socket), std::move(session)), {}, {}, {}});
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.ptr = peer.get();
    epoll_ctl(events.get(), EPOLL_CTL_ADD, number, &event);
    peers.emplace(peer.get(), std::move(peer));
  }

  void serve(Peer& peer, std::uint32_t events) {
    if (!peers.contains(&peer)) {
      return;
    }
    if ((events & EPOLLOUT) != 0) {
      flush(peer);
    }
    do {
      const auto got = peer.transport.read(buffer.data(), buffer.size());
      if (!got) {
        end(peer);
        return;
      }
      if (*got == 0) {
        break;
      }
      take(peer, *got);
    } while (peer.transport.holdsBytes());
    watch(peer);
  }

  /// Passes on what stands in the buffer, and keeps what is no whole frame yet.
  void take(Peer& peer, std::size_t count) {
    char* bytes = buffer.data();
    std::string joined;
    if (!peer.in.empty()) {
      joined.swap(peer.in);
      joined.append(bytes, count);
      bytes = joined.data();
      count = joined.size();
    }
    std::size_t taken = peer.isUpgraded ? 0 : upgrade(peer, {bytes, count});
    while (peer.isUpgraded && taken < count) {
      const auto frame = frameAt({bytes + taken, count - taken});
      if (!frame || frame->size() > count - taken) {
        break;
      }
      char* const payload = bytes + taken + frame->headerSize;
      if (peer.other != nullptr && frame->mask) {
        applyMask(payload, frame->payloadSize, *frame->mask);
        appendHeader(peer.other->out, frame->opcode, frame->payloadSize, std::nullopt);
        peer.other->out.append(payload, frame->payloadSize);
      }
      taken += frame->size();
    }
    if (peer.other != nullptr) {
      flush(*peer.other);
      watch(*peer.other);
    }
    peer.in.assign(bytes + taken, count - taken);
  }

  std::size_t upgrade(Peer& peer, std::string_view bytes) {
    const std::size_t end = bytes.find("\r\n\r\n");
    constexpr std::string_view keyName = "Sec-WebSocket-Key: ";
    const std::size_t key = bytes.find(keyName);
    if (end == std::string_view::npos || key == std::string_view::npos) {
      return 0;
    }
    const std::size_t keyBegin = key + keyName.size();
    const std::string_view path = bytes.substr(0, bytes.find(" HTTP"));
    peer.name = path.substr(path.rfind('/') + 1);
    peer.isUpgraded = true;
    peer.out =
        "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
        "Sec-WebSocket-Accept: " +
        acceptKey(bytes.substr(keyBegin, bytes.find("\r\n", keyBegin) - keyBegin)) + "\r\n\r\n";
    Peer*& named = byName[peer.name];
    if (named != nullptr) {
      named->other = &peer;
      peer.other = named;
    }
    named = &peer;
    flush(peer);
    return end + 4;
  }

  static void flush(Peer& peer) {
    std::size_t written = 0;
    while (written < peer.out.size()) {
      const auto taken = peer.transport.write(std::string_view(peer.out).substr(written));
      if (taken.value_or(0) == 0) {
        break;
      }
      written += *taken;
    }
    peer.out.erase(0, written);
  }

  void watch(Peer& peer) {
    if (peer.awaitsWriting == !peer.out.empty()) {
      return;
    }
    peer.awaitsWriting = !peer.awaitsWriting;
    epoll_event event{};
    event.events = peer.awaitsWriting ? EPOLLIN | EPOLLOUT : EPOLLIN;
    event.data.ptr = &peer;
    epoll_ctl(events.get(), EPOLL_CTL_MOD, peer.transport.descriptor(), &event);
  }

  void end(Peer& peer) {
    if (peer.other != nullptr) {
      peer.other->other = nullptr;
    }
    if (const auto named = byName.find(peer.name);
        named != byName.end() && named->second == &peer) {
      byName.erase(named);
    }
    // Events of this turn may still name it.
    const auto found = peers.find(&peer);
    epoll_ctl(events.get(), EPOLL_CTL_DEL, peer.transport.descriptor(), nullptr);
    ended.push_back(std::move(found->second));
    peers.erase(found);
  }

  SSLContext context;
  FileDescriptor events;
  FileDescriptor listener;
  std::vector<char> buffer = std::vector<char>(65'536);
  std::unordered_map<Peer*, std::unique_ptr<Peer>> peers;
  std::unordered_map<std::string, Peer*> byName;
  std::vector<std::unique_ptr<Peer>> ended;
};

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  try {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    BareRelay(argc > 2 ? argv[1] : nullptr, argc > 2 ? argv[2] : nullptr).run();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "bare_relay: %s\n", error.what());
    return EXIT_FAILURE;
  }
}
