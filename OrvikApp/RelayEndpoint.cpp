#include "OrvikApp/RelayEndpoint.h"

#include <cstdlib>
#include <stdexcept>

#include "core/client/RelayClient.h"
#include "core/connection/WebSocketURL.h"

namespace orvik {

namespace {

std::optional<std::string> variable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr || *value == '\0' ? std::nullopt : std::optional<std::string>(value);
}

}  // namespace

RelayEndpoint RelayEndpoint::fromEnvironment() {
  RelayEndpoint endpoint{.url = variable("ORVIK_RELAY").value_or(RelayClient::defaultRelay()),
                         .trust = variable("ORVIK_TRUST")};
  if (!WebSocketURL::parse(endpoint.url) || endpoint.url.find('?') != std::string::npos) {
    throw std::invalid_argument(
        "ORVIK_RELAY has to be a wss:// URL with a host and perhaps a path");
  }
  return endpoint;
}

}  // namespace orvik
