#include "core/client/RelayEndpoint.h"

#include <cstdlib>
#include <stdexcept>

#include "core/BuildConstants.h"
#include "core/connection/WebSocketURL.h"
#include "core/values/JSONReader.h"
#include "core/values/JSONValue.h"

namespace orvik {

namespace {

constexpr const char* storedKey = "relay";

/// The top-level name that RFC 2606 sets aside for examples: nobody's relay.
bool isReserved(const std::string& host) { return host.ends_with(".example"); }

std::optional<std::string> variable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr || *value == '\0' ? std::nullopt : std::optional<std::string>(value);
}

std::optional<RelayEndpoint> remembered(const UserDefaults& preferences) {
  const auto text = preferences.data(storedKey);
  if (!text) {
    return std::nullopt;
  }
  try {
    const JSONValue value = JSONValue::any(readJSON(*text));
    const auto* const object = value.get<JSONObject>();
    const auto* const url = object == nullptr ? nullptr : object->get<std::string>("url");
    if (url == nullptr) {
      return std::nullopt;
    }
    RelayEndpoint endpoint = RelayEndpoint::at(*url);
    if (const auto* const trust = object->get<std::string>("trust")) {
      endpoint.trust = *trust;
    }
    if (const auto* const fingerprint = object->get<std::string>("fingerprint")) {
      endpoint.fingerprint = *fingerprint;
    }
    if (const auto* const host = object->get<std::string>("page")) {
      endpoint.linkHost = *host;
    }
    return endpoint;
  } catch (const std::exception&) {
    // Damaged, or written by hand: as good as none.
    return std::nullopt;
  }
}

}  // namespace

RelayEndpoint RelayEndpoint::at(const std::string& url) {
  const auto parsed = WebSocketURL::parse(url);
  if (!parsed || url.find('?') != std::string::npos) {
    throw std::invalid_argument(
        "the relay's address has to be a wss:// URL with a host and perhaps a path");
  }
  return {.url = url,
          .linkHost = url == build::relayURL ? build::pairingHost : parsed->hostHeader()};
}

std::optional<RelayEndpoint> RelayEndpoint::ofBuild() {
  const auto url = WebSocketURL::parse(build::relayURL);
  return !url || isReserved(url->host) ? std::nullopt : std::optional(at(build::relayURL));
}

std::optional<RelayEndpoint> RelayEndpoint::present(const UserDefaults& preferences) {
  const auto relay = build::isDevelopment ? variable("ORVIK_RELAY") : std::nullopt;
  std::optional<RelayEndpoint> endpoint;
  try {
    endpoint = relay ? at(*relay) : remembered(preferences);
  } catch (const std::invalid_argument& error) {
    throw std::invalid_argument(std::string("ORVIK_RELAY: ") + error.what());
  }
  if (!endpoint) {
    endpoint = ofBuild();
  }
  const auto trust = build::isDevelopment ? variable("ORVIK_TRUST") : std::nullopt;
  if (endpoint && trust) {
    endpoint->trust = *trust;
  }
  return endpoint;
}

bool RelayEndpoint::remember(UserDefaults& preferences) const {
  JSONObject object;
  object.set("url", url);
  if (trust) {
    // Programs are started anywhere.
    std::error_code error;
    object.set("trust", std::filesystem::absolute(*trust, error).string());
  }
  if (!fingerprint.empty()) {
    object.set("fingerprint", fingerprint);
  }
  if (linkHost != at(url).linkHost) {
    object.set("page", linkHost);
  }
  return preferences.set(storedKey, JSONValue(std::move(object)).text());
}

std::unique_ptr<UserDefaults> RelayEndpoint::preferences() {
  return openUserDefaults(std::string(build::applicationId) + ".relay");
}

}  // namespace orvik
