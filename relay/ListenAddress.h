#pragma once

#include <boost/asio/ip/tcp.hpp>

#include <optional>
#include <string_view>

namespace orvik::relay {

namespace asio = boost::asio;

/// Reads "127.0.0.1:47443" or "[::1]:47443": a numeric address and a port, of which 0 stands for
/// one that the system chooses. Nothing when the text is anything else.
[[nodiscard]] std::optional<asio::ip::tcp::endpoint> listenAddress(std::string_view text);

}  // namespace orvik::relay
