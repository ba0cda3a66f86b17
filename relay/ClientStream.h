#pragma once

#include <boost/asio/compose.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/core/bind_handler.hpp>
#include <boost/beast/core/role.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>

#include <cstdint>
#include <utility>
#include <variant>

namespace orvik::relay {

namespace asio = boost::asio;

/// A client's bytes as the WebSocket layer sees them: TLS over TCP, or TCP alone, which is for
/// loopback.
class ClientStream {
 public:
  using TLS = boost::beast::ssl_stream<asio::ip::tcp::socket>;
  // NOLINTNEXTLINE(readability-identifier-naming): the layers above find it by this name.
  using executor_type = asio::ip::tcp::socket::executor_type;

  /// Without a context there is no TLS. The context lives longer than the stream.
  ClientStream(asio::ip::tcp::socket socket, asio::ssl::context* context)
      : layer(context == nullptr ? Layer(std::in_place_index<0>, std::move(socket))
                                 : Layer(std::in_place_index<1>, std::move(socket), *context)) {}

  // NOLINTBEGIN(readability-identifier-naming): the layers above find these by their names.
  executor_type get_executor() { return socket().get_executor(); }

  template <typename Buffers, typename Token>
  auto async_read_some(const Buffers& buffers, Token&& token) {
    if (TLS* const stream = tls()) {
      return stream->async_read_some(buffers, std::forward<Token>(token));
    }
    return asio::async_compose<Token, void(boost::system::error_code, std::size_t)>(
        [this, buffers, isBegun = false](auto& self, boost::system::error_code error = {},
                                         std::size_t size = 0) mutable {
          if (!std::exchange(isBegun, true)) {
            socket().async_read_some(buffers, std::move(self));
          } else {
            plainBytesRead += size;
            self.complete(error, size);
          }
        },
        token, socket());
  }

  template <typename Buffers, typename Token>
  auto async_write_some(const Buffers& buffers, Token&& token) {
    if (TLS* const stream = tls()) {
      return stream->async_write_some(buffers, std::forward<Token>(token));
    }
    return socket().async_write_some(buffers, std::forward<Token>(token));
  }
  // NOLINTEND(readability-identifier-naming)

  /// The TLS layer, or null where there is none.
  [[nodiscard]] TLS* tls() noexcept { return std::get_if<TLS>(&layer); }
  [[nodiscard]] asio::ip::tcp::socket& socket() noexcept {
    TLS* const stream = tls();
    return stream == nullptr ? *std::get_if<0>(&layer) : stream->next_layer();
  }

  /// Bytes taken from the wire so far.
  [[nodiscard]] std::uint64_t bytesRead() {
    TLS* const stream = tls();
    return stream == nullptr ? plainBytesRead
                             : BIO_number_read(SSL_get_rbio(stream->native_handle()));
  }

 private:
  using Layer = std::variant<asio::ip::tcp::socket, TLS>;

  Layer layer;
  std::uint64_t plainBytesRead = 0;
};

/// What the WebSocket layer calls when a time-out of its own has passed; it has none here.
// NOLINTNEXTLINE(readability-identifier-naming): the layer finds it by this name.
inline void beast_close_socket(ClientStream& stream) {
  boost::system::error_code ignored;
  stream.socket().close(ignored);
}

/// What the WebSocket layer calls after its closing handshake. It does nothing: the connection
/// ends TLS itself, within a deadline, where the layer's own way waits for a silent peer for ever.
template <typename Handler>
// NOLINTNEXTLINE(readability-identifier-naming): the layer finds it by this name.
void async_teardown(boost::beast::role_type, ClientStream& stream, Handler&& handler) {
  asio::post(stream.get_executor(), boost::beast::bind_front_handler(std::forward<Handler>(handler),
                                                                     boost::system::error_code()));
}

}  // namespace orvik::relay
