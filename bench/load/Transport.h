#pragma once

#include <netinet/in.h>
#include <openssl/ssl.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/system/FileDescriptor.h"

namespace orvik::load {

struct SSLFree {
  void operator()(SSL* session) const { SSL_free(session); }
  void operator()(SSL_CTX* context) const { SSL_CTX_free(context); }
};
using SSLHandle = std::unique_ptr<SSL, SSLFree>;
using SSLContext = std::unique_ptr<SSL_CTX, SSLFree>;

/// Where a server listens: a loopback address of IPv4, or a Unix socket.
struct Target {
  /// Empty for a Unix socket.
  std::optional<sockaddr_in> address;
  std::string path;

  /// Reads "127.0.0.1:47443" or "unix:PATH"; nothing for anything else, other addresses included.
  [[nodiscard]] static std::optional<Target> read(std::string_view text);
};

/// The address, of the many below 127.0.0.0/8, from which the connections of one household come.
[[nodiscard]] in_addr sourceAddress(std::size_t household);

/// A socket that never blocks, with or without TLS on it. Everything read and written passes
/// through this.
class Transport {
 public:
  /// Takes a connected socket as a server does; `session` is empty without TLS.
  Transport(FileDescriptor socket, SSLHandle session);
  /// Begins to connect; throws std::system_error when even that fails. Without `context` there is
  /// no TLS. Certificates are not verified.
  static Transport connect(const Target& target, in_addr source, SSL_CTX* context);

  [[nodiscard]] int descriptor() const { return stream.get(); }
  /// Bytes read, 0 while there are none, nothing when the connection has ended.
  [[nodiscard]] std::optional<std::size_t> read(char* to, std::size_t capacity);
  /// Bytes taken, 0 while none are, nothing when the connection has ended.
  [[nodiscard]] std::optional<std::size_t> write(std::string_view bytes);
  /// Whether the last call that did nothing waits for the socket to take bytes.
  [[nodiscard]] bool awaitsWriting() const { return mustWrite; }
  /// Bytes that TLS has already taken from the socket, of which no event will tell.
  [[nodiscard]] bool holdsBytes() const { return session && SSL_has_pending(session.get()) == 1; }

 private:
  [[nodiscard]] std::optional<std::size_t> resultOf(int returned);

  FileDescriptor stream;
  SSLHandle session;
  bool mustWrite = false;
};

}  // namespace orvik::load
