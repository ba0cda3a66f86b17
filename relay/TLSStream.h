#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/core/bind_handler.hpp>
#include <boost/beast/core/role.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>

#include <cstdint>

namespace orvik::relay {

namespace asio = boost::asio;

/// TLS over TCP as the WebSocket layer sees it.
class TLSStream : public boost::beast::ssl_stream<asio::ip::tcp::socket> {
 public:
  using ssl_stream::ssl_stream;

  /// Bytes taken from the wire so far.
  [[nodiscard]] std::uint64_t bytesRead() { return BIO_number_read(SSL_get_rbio(native_handle())); }
};

/// What the WebSocket layer calls after its closing handshake. It does nothing: the connection
/// ends TLS itself, within a deadline, where the layer's own way waits for a silent peer for ever.
template <typename Handler>
// NOLINTNEXTLINE(readability-identifier-naming): the layer finds it by this name.
void async_teardown(boost::beast::role_type, TLSStream& stream, Handler&& handler) {
  asio::post(stream.get_executor(), boost::beast::bind_front_handler(std::forward<Handler>(handler),
                                                                     boost::system::error_code()));
}

}  // namespace orvik::relay
