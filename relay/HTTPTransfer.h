#pragma once

#include <boost/asio/awaitable.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>

#include "relay/ClientStream.h"
#include "relay/HTTPAnswer.h"

namespace orvik::relay {

// What goes over a client's stream beside the WebSocket, and apart from it because both take long
// to compile. What is handed over lives until the operation has ended. There is no deadline here.

using RequestParser = http::request_parser<http::empty_body>;

/// The handshake of TLS; nothing where there is no TLS.
asio::awaitable<boost::system::error_code> acceptTLS(ClientStream& stream);
/// Tells a client over TLS that no more comes, and waits for the same from it.
asio::awaitable<void> endTLS(ClientStream& stream);
/// Reads the head of a request. What came with it stays in the buffer.
asio::awaitable<boost::system::error_code> readHead(ClientStream& stream,
                                                    boost::beast::flat_buffer& buffer,
                                                    RequestParser& parser);
asio::awaitable<boost::system::error_code> write(ClientStream& stream, HTTPAnswer& answer);

}  // namespace orvik::relay
