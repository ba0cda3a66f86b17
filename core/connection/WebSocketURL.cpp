#include "core/connection/WebSocketURL.h"

#include <boost/asio/ip/address.hpp>
#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>

#include <algorithm>
#include <charconv>

namespace orvik {

std::optional<WebSocketURL> WebSocketURL::parse(std::string_view text) {
  const auto parsed = boost::urls::parse_uri({text.data(), text.size()});
  if (parsed.has_error()) {
    return std::nullopt;
  }
  const boost::urls::url_view& view = *parsed;
  if (view.scheme_id() != boost::urls::scheme::wss || view.encoded_host().empty() ||
      view.has_userinfo() || view.has_fragment()) {
    return std::nullopt;
  }
  WebSocketURL url;
  url.host = view.host_type() == boost::urls::host_type::ipv6 ? view.host_address() : view.host();
  // A host may be written with escapes, which must not reach a request as they are.
  if (!std::ranges::all_of(url.host, [](char c) { return c > ' ' && c < '\x7F'; })) {
    return std::nullopt;
  }
  if (view.has_port()) {
    const auto digits = view.port();
    const char* const end = digits.data() + digits.size();
    const auto read = std::from_chars(digits.data(), end, url.port);
    if (read.ec != std::errc() || read.ptr != end || url.port == 0) {
      return std::nullopt;
    }
  }
  const auto target = view.encoded_target();
  url.target = target.empty() || target.front() != '/' ? "/" : "";
  url.target.append(target.data(), target.size());
  return url;
}

bool WebSocketURL::hasAddress() const {
  boost::system::error_code error;
  boost::asio::ip::make_address(host, error);
  return !error;
}

std::string WebSocketURL::hostHeader() const {
  const bool isIPv6 = host.find(':') != std::string::npos;
  std::string header = isIPv6 ? "[" + host + "]" : host;
  if (port != 443) {
    header += ":" + std::to_string(port);
  }
  return header;
}

std::string appendingPath(std::string_view url, std::string_view components) {
  std::string joined(url);
  if (!joined.ends_with('/')) {
    joined += '/';
  }
  joined += components;
  return joined;
}

}  // namespace orvik
