#include "phone/terminal/PhoneClient.h"

#include <utility>

#include "core/connection/WebSocketURL.h"
#include "core/values/Base64.h"
#include "core/values/JSONReader.h"
#include "core/values/JSONValue.h"
#include "phone/terminal/DisplayText.h"

namespace orvik {

namespace {

using Phase = ConnectionState::Phase;

/// Phones move between networks: with the 20 s that an answer may take, a dead link is looked for
/// twice a minute.
constexpr std::chrono::seconds pingPause{10};

/// "mac" of a relay's {"mac":true|false}; nothing for any other message.
std::optional<bool> macPresence(const UntypedValue& message) {
  const auto* isOnline = message.get<bool>("mac");
  return isOnline == nullptr ? std::nullopt : std::optional(*isOnline);
}

/// "alert" of a relay's {"alert":N}; nothing for any other message.
std::optional<std::int64_t> alertNumber(const UntypedValue& message) {
  const auto* number = message.get<std::int64_t>("alert");
  return number == nullptr || *number < 0 ? std::nullopt : std::optional(*number);
}

/// The authentication, with one more member.
SecretText naming(std::int64_t lastAlert, const SecretText& authentication) {
  const std::string_view object = authentication.text();
  return {object.substr(0, object.size() - 1), ",\"last\":", std::to_string(lastAlert), "}"};
}

}  // namespace

PhoneClient::PhoneClient(Pairing phonePairing, std::string_view relay,
                         std::shared_ptr<WebSocketSession> session, std::shared_ptr<Clock> clock,
                         PhoneObserver& phoneObserver)
    : pairing(std::move(phonePairing)),
      observer(phoneObserver),
      connection(appendingPath(relay, "v1/phone/" + base64URL(pairing.macId())), std::move(session),
                 std::move(clock), pingPause, *this) {}

void PhoneClient::connecting() { observer.connectionChanged({Phase::connecting, {}, {}}); }

void PhoneClient::waiting(std::chrono::seconds wait, const PersistentConnection::Ending& ending) {
  observer.connectionChanged({Phase::waiting, wait, displayText(ending.reason())});
}

asio::awaitable<void> PhoneClient::talk(Link link) {
  nextAlert = std::nullopt;
  {
    // For as long as a conversation lasts its first words need not be remembered.
    const SecretText authentication = naming(lastAlert, pairing.authMessage());
    co_await link->send(authentication.text());
  }
  co_await link->send(R"({"active":true})");
  observer.connectionChanged({Phase::held, {}, {}});
  for (bool wanted = true; wanted;) {
    const WebSocketMessage message = co_await link->receive();
    wanted = !message.isText || message.content == "pong" || take(message.content, *link);
  }
}

bool PhoneClient::take(const std::string& message, PersistentConnection::Link& link) {
  const std::optional<std::int64_t> number = std::exchange(nextAlert, std::nullopt);
  bool isMoreWanted = true;
  try {
    const UntypedValue said = readJSON(message);
    if (const auto isMacOnline = macPresence(said)) {
      link.isAccepted = true;
      observer.connectionChanged({*isMacOnline ? Phase::live : Phase::macOffline, {}, {}});
      return true;
    }
    nextAlert = alertNumber(said);
    if (nextAlert) {
      return true;
    }
    isMoreWanted = open(message);
  } catch (const std::runtime_error&) {
    // No JSON, no envelope, or not sealed for this pairing: a relay can send anything.
    observer.unreadable();
  }
  // It has come, whatever it was: it need not come again.
  lastAlert = number.value_or(lastAlert);
  return isMoreWanted;
}

bool PhoneClient::open(const std::string& message) {
  Envelope::Opened opened = Envelope::open(message, pairing);
  UntypedValue content = readJSON(opened.plaintext);
  if (content.get<UntypedValue::Map>() == nullptr) {
    throw JSONError("a payload is an object");
  }
  return observer.opened({opened.kind, std::move(opened.plaintext), std::move(content)});
}

}  // namespace orvik
