#include "relay/HTTPTransfer.h"

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>

namespace orvik::relay {

namespace {

constexpr auto asTuple = asio::as_tuple(asio::use_awaitable);

}  // namespace

asio::awaitable<boost::system::error_code> acceptTLS(ClientStream& stream) {
  ClientStream::TLS* const tls = stream.tls();
  if (tls == nullptr) {
    co_return boost::system::error_code();
  }
  const auto [error] = co_await tls->async_handshake(asio::ssl::stream_base::server, asTuple);
  co_return error;
}

asio::awaitable<void> endTLS(ClientStream& stream) {
  ClientStream::TLS* const tls = stream.tls();
  if (tls != nullptr && stream.socket().is_open()) {
    co_await tls->async_shutdown(asTuple);
  }
}

asio::awaitable<boost::system::error_code> readHead(ClientStream& stream,
                                                    boost::beast::flat_buffer& buffer,
                                                    RequestParser& parser) {
  const auto [error, size] = co_await http::async_read_header(stream, buffer, parser, asTuple);
  co_return error;
}

asio::awaitable<boost::system::error_code> write(ClientStream& stream, HTTPAnswer& answer) {
  const auto [error, size] = co_await http::async_write(stream, answer, asTuple);
  co_return error;
}

}  // namespace orvik::relay
