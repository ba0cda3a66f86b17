#pragma once

#include <openssl/ssl.h>

#include <span>

#include "relay/OpenSSLHandle.h"
#include "relay/OutboundQueue.h"

namespace orvik::relay {

/// A client's bytes: TLS over a socket, or the socket alone. Works on a descriptor that does not
/// block and that somebody else owns; nothing here waits. Writing to a connection that has ended
/// raises SIGPIPE, which the calling thread must not take.
class Transport {
 public:
  enum class Status {
    done,
    /// Nothing more until the descriptor can be read.
    wantsRead,
    /// Nothing more until it can be written.
    wantsWrite,
    /// The other side has said that no more comes.
    ended,
    failed
  };
  struct Result {
    Status status;
    std::size_t size = 0;
  };

  /// Without a context there is no TLS. Throws std::bad_alloc.
  Transport(int descriptor, SSL_CTX* context);
  Transport(const Transport&) = delete;
  Transport& operator=(const Transport&) = delete;

  /// The server's side of the handshake; called until it is done.
  [[nodiscard]] Status handshake();
  [[nodiscard]] Result read(std::span<char> to);
  /// Whether bytes have been taken from the descriptor that `read` has not given yet: they would
  /// not make it readable again.
  [[nodiscard]] bool hasPending() const;
  /// Sends as much as goes, and takes that from the queue. `room` is used meanwhile, to put what
  /// is small into one record.
  [[nodiscard]] Status write(OutboundQueue& queue, std::span<char> room);
  /// How many bytes at the front of the queue must stay as they are: a part of them is on its way.
  [[nodiscard]] std::size_t begun() const noexcept { return retry; }
  /// Says that no more comes. Reading goes on.
  void endSending();

  /// Bytes taken from the descriptor since this was last asked, also those that say nothing.
  [[nodiscard]] std::size_t takeWireBytes();

  [[nodiscard]] bool isTLS() const noexcept { return ssl != nullptr; }

 private:
  [[nodiscard]] Status statusOf(int result) const;
  [[nodiscard]] Status writePlain(OutboundQueue& queue) const;
  [[nodiscard]] Status writeTLS(OutboundQueue& queue, std::span<char> room);

  OpenSSLHandle<SSL, SSL_free> ssl;
  int descriptor;
  /// What has been handed to TLS and was not taken. It has to be handed over again, the same.
  std::uint32_t retry = 0;
  /// Requests for new keys that the client has made.
  std::uint32_t keyUpdates = 0;
  std::uint64_t wireBytes = 0;
};

}  // namespace orvik::relay
