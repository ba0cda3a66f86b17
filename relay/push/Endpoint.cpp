#include "relay/push/Endpoint.h"

#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>

#include <algorithm>

namespace orvik::relay {

namespace {

constexpr std::uint16_t httpsPort = 443;

}  // namespace

std::string Endpoint::origin() const {
  return "https://" + host + (port == httpsPort ? "" : ":" + std::to_string(port));
}

std::optional<Endpoint> Endpoint::of(std::string_view url, std::size_t longest) {
  if (url.size() > longest) {
    return std::nullopt;
  }
  const auto parsed = boost::urls::parse_uri({url.data(), url.size()});
  if (parsed.has_error()) {
    return std::nullopt;
  }
  const boost::urls::url_view& view = *parsed;
  if (view.scheme_id() != boost::urls::scheme::https || view.has_userinfo() ||
      view.has_fragment() || (view.has_port() && view.port_number() == 0)) {
    return std::nullopt;
  }
  Endpoint endpoint;
  // As it is written: whoever connects must not read another host in it than this.
  endpoint.host = std::string(view.encoded_host());
  std::ranges::transform(endpoint.host, endpoint.host.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  constexpr std::string_view allowed = "abcdefghijklmnopqrstuvwxyz0123456789-.[]:";
  if (endpoint.host.empty() || endpoint.host.find_first_not_of(allowed) != std::string::npos) {
    return std::nullopt;
  }
  endpoint.port = view.has_port() ? view.port_number() : httpsPort;
  return endpoint;
}

}  // namespace orvik::relay
