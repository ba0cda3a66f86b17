#include "bench/load/Transport.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <charconv>
#include <system_error>

namespace orvik::load {
namespace {

constexpr std::string_view unixPrefix = "unix:";

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

FileDescriptor socketFor(int family) {
  FileDescriptor made(socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (made.get() < 0) {
    fail("socket");
  }
  return made;
}

/// A connection that is under way is no failure.
void begin(int socket, const sockaddr* address, socklen_t size) {
  if (::connect(socket, address, size) != 0 && errno != EINPROGRESS) {
    fail("connect");
  }
}

void connectUnix(int socket, const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  begin(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

void connectLoopback(int socket, const sockaddr_in& target, in_addr source) {
  const int yes = 1;
  setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
  // The port is chosen when it connects: one may then serve several targets.
  setsockopt(socket, IPPROTO_IP, IP_BIND_ADDRESS_NO_PORT, &yes, sizeof yes);
  sockaddr_in from{};
  from.sin_family = AF_INET;
  from.sin_addr = source;
  if (bind(socket, reinterpret_cast<const sockaddr*>(&from), sizeof from) != 0) {
    fail("bind");
  }
  begin(socket, reinterpret_cast<const sockaddr*>(&target), sizeof target);
}

}  // namespace

std::optional<Target> Target::read(std::string_view text) {
  if (text.starts_with(unixPrefix)) {
    return text.size() - unixPrefix.size() < sizeof(sockaddr_un::sun_path)
               ? std::optional(Target{std::nullopt, std::string(text.substr(unixPrefix.size()))})
               : std::nullopt;
  }
  const std::size_t colon = text.rfind(':');
  if (colon == std::string_view::npos) {
    return std::nullopt;
  }
  sockaddr_in address{};
  address.sin_family = AF_INET;
  std::uint16_t port = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data() + colon + 1, end, port);
  address.sin_port = htons(port);
  if (error != std::errc() || stop != end || port == 0 ||
      inet_pton(AF_INET, std::string(text.substr(0, colon)).c_str(), &address.sin_addr) != 1 ||
      ntohl(address.sin_addr.s_addr) >> 24 != IN_LOOPBACKNET) {
    return std::nullopt;
  }
  return Target{address, {}};
}

in_addr sourceAddress(std::size_t household) {
  // Spread by a prime; what is left of the prefix are 2^24 addresses, of which the outermost are no
  // hosts.
  constexpr std::size_t prime = 7'368'787;
  constexpr std::size_t hosts = (1U << 24) - 2;
  const auto host = static_cast<std::uint32_t>(1 + household * prime % hosts);
  return in_addr{htonl((IN_LOOPBACKNET << 24) | host)};
}

Transport::Transport(FileDescriptor socket, SSLHandle session)
    : stream(std::move(socket)), session(std::move(session)) {}

Transport Transport::connect(const Target& target, in_addr source, SSL_CTX* context) {
  FileDescriptor socket = socketFor(target.address ? AF_INET : AF_UNIX);
  if (target.address) {
    connectLoopback(socket.get(), *target.address, source);
  } else {
    connectUnix(socket.get(), target.path);
  }
  SSLHandle session;
  if (context != nullptr) {
    session.reset(SSL_new(context));
    if (!session || SSL_set_fd(session.get(), socket.get()) != 1) {
      throw std::runtime_error("TLS cannot be set up");
    }
    SSL_set_connect_state(session.get());
  }
  return {std::move(socket), std::move(session)};
}

std::optional<std::size_t> Transport::read(char* to, std::size_t capacity) {
  mustWrite = false;
  if (session) {
    return resultOf(SSL_read(session.get(), to, static_cast<int>(capacity)));
  }
  const ssize_t got = recv(stream.get(), to, capacity, 0);
  if (got > 0) {
    return static_cast<std::size_t>(got);
  }
  return got < 0 && errno == EAGAIN ? std::optional<std::size_t>(0) : std::nullopt;
}

std::optional<std::size_t> Transport::write(std::string_view bytes) {
  mustWrite = false;
  if (session) {
    return resultOf(SSL_write(session.get(), bytes.data(), static_cast<int>(bytes.size())));
  }
  const ssize_t taken = send(stream.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
  if (taken >= 0) {
    return static_cast<std::size_t>(taken);
  }
  mustWrite = errno == EAGAIN || errno == ENOTCONN;
  return mustWrite ? std::optional<std::size_t>(0) : std::nullopt;
}

std::optional<std::size_t> Transport::resultOf(int returned) {
  if (returned > 0) {
    return static_cast<std::size_t>(returned);
  }
  const int error = SSL_get_error(session.get(), returned);
  ERR_clear_error();
  mustWrite = error == SSL_ERROR_WANT_WRITE;
  return mustWrite || error == SSL_ERROR_WANT_READ ? std::optional<std::size_t>(0) : std::nullopt;
}

}  // namespace orvik::load
