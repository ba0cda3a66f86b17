#include "relay/Transport.h"

#include <openssl/err.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <new>
#include <utility>

namespace orvik::relay {

namespace {

/// What fits into one record.
constexpr std::size_t recordSize = 16384;
/// Clients change their keys after 2^24 records or never; each change costs more than a message.
constexpr std::uint32_t mostKeyUpdates = 8;

void countKeyUpdate(int isWritten, int, int contentType, const void* bytes, std::size_t size, SSL*,
                    void* count) {
  if (isWritten == 0 && contentType == SSL3_RT_HANDSHAKE && size > 0 &&
      *static_cast<const unsigned char*>(bytes) == SSL3_MT_KEY_UPDATE) {
    ++*static_cast<std::uint32_t*>(count);
  }
}

Transport::Status statusOfError(Transport::Status wanted) {
  return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR ? wanted
                                                                   : Transport::Status::failed;
}

}  // namespace

Transport::Transport(int descriptor, SSL_CTX* context)
    : ssl(context == nullptr ? nullptr : SSL_new(context)), descriptor(descriptor) {
  if (context != nullptr && (ssl == nullptr || SSL_set_fd(ssl.get(), descriptor) != 1)) {
    throw std::bad_alloc();
  }
  if (ssl != nullptr) {
    SSL_set_msg_callback(ssl.get(), countKeyUpdate);
    SSL_set_msg_callback_arg(ssl.get(), &keyUpdates);
  }
}

Transport::Status Transport::handshake() {
  if (ssl == nullptr) {
    return Status::done;
  }
  ERR_clear_error();
  const int result = SSL_accept(ssl.get());
  return result == 1 ? Status::done : statusOf(result);
}

Transport::Result Transport::read(std::span<char> to) {
  if (ssl == nullptr) {
    const ssize_t size = ::recv(descriptor, to.data(), to.size(), 0);
    wireBytes += static_cast<std::uint64_t>(std::max<ssize_t>(size, 0));
    return size > 0    ? Result{Status::done, static_cast<std::size_t>(size)}
           : size == 0 ? Result{Status::ended}
                       : Result{statusOfError(Status::wantsRead)};
  }
  ERR_clear_error();
  std::size_t size = 0;
  const int result = SSL_read_ex(ssl.get(), to.data(), to.size(), &size);
  if (keyUpdates > mostKeyUpdates) {
    return {Status::failed};
  }
  return result == 1 ? Result{Status::done, size} : Result{statusOf(result)};
}

std::size_t Transport::takeWireBytes() {
  if (ssl == nullptr) {
    return static_cast<std::size_t>(std::exchange(wireBytes, 0));
  }
  const std::uint64_t all = BIO_number_read(SSL_get_rbio(ssl.get()));
  return static_cast<std::size_t>(all - std::exchange(wireBytes, all));
}

bool Transport::hasPending() const { return ssl != nullptr && SSL_has_pending(ssl.get()) == 1; }

Transport::Status Transport::write(OutboundQueue& queue, std::span<char> room) {
  return ssl == nullptr ? writePlain(queue) : writeTLS(queue, room);
}

Transport::Status Transport::writePlain(OutboundQueue& queue) const {
  while (!queue.empty()) {
    std::array<iovec, 64> pieces{};
    const std::size_t count = queue.gather(pieces);
    const ssize_t size = ::writev(descriptor, pieces.data(), static_cast<int>(count));
    if (size < 0) {
      return statusOfError(Status::wantsWrite);
    }
    queue.pop(static_cast<std::size_t>(size));
  }
  return Status::done;
}

Transport::Status Transport::writeTLS(OutboundQueue& queue, std::span<char> room) {
  while (!queue.empty()) {
    std::string_view bytes = queue.front();
    if (bytes.size() < recordSize && bytes.size() < queue.size()) {
      bytes = {room.data(), queue.copy(room.first(std::min(room.size(), recordSize)))};
    }
    ERR_clear_error();
    std::size_t size = 0;
    const int result = SSL_write_ex(ssl.get(), bytes.data(), bytes.size(), &size);
    if (result != 1) {
      const Status status = statusOf(result);
      retry = static_cast<std::uint32_t>(std::min(bytes.size(), recordSize));
      return status;
    }
    retry = 0;
    queue.pop(size);
  }
  return Status::done;
}

void Transport::endSending() {
  if (ssl != nullptr && SSL_is_init_finished(ssl.get()) == 1) {
    ERR_clear_error();
    SSL_shutdown(ssl.get());
  }
  ::shutdown(descriptor, SHUT_WR);
}

Transport::Status Transport::statusOf(int result) const {
  switch (SSL_get_error(ssl.get(), result)) {
    case SSL_ERROR_WANT_READ:
      return Status::wantsRead;
    case SSL_ERROR_WANT_WRITE:
      return Status::wantsWrite;
    case SSL_ERROR_ZERO_RETURN:
      return Status::ended;
    default:
      return Status::failed;
  }
}

}  // namespace orvik::relay
