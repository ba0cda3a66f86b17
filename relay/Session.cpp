#include "relay/Session.h"

#include "relay/ClientMessage.h"

namespace orvik::relay {

namespace {

constexpr std::string_view ping = "ping";

SharedText pong() {
  static const SharedText text = framedText("pong");
  return text;
}

}  // namespace

Session::Session(const Target& target, Peer& peer, Switchboard& switchboard, const Limits& limits,
                 Instant now)
    : target(target),
      peer(peer),
      switchboard(switchboard),
      limits(limits),
      messages(target.role == Target::Role::mac ? limits.macMessages : limits.phoneMessages, now),
      began(now),
      lastReceived(now) {}

void Session::received(bool isText, const SharedText& message, Instant now) {
  lastReceived = now;
  if (!messages.take(now)) {
    peer.close(CloseReason::tooManyMessages);
  } else if (!authenticated) {
    authenticate(message->text(), isText, now);
  } else if (isText && message->text() == ping) {
    peer.send(pong());
  } else if (isText && target.role == Target::Role::mac) {
    switchboard.forward(target.identifier, peer, message);
  } else if (isText) {
    receivedFromPhone(message->text());
  }
}

void Session::authenticate(std::string_view message, bool isText, Instant now) {
  const auto said = isText ? Authentication::in(message) : std::nullopt;
  if (!said) {
    peer.close(CloseReason::noToken);
    return;
  }
  authenticated =
      target.role == Target::Role::mac
          ? switchboard.macArrived(target.identifier, said->token, peer, now)
          : switchboard.phoneArrived(target.identifier, said->token, said->last, peer, now);
}

void Session::receivedFromPhone(std::string_view message) {
  if (const std::optional<bool> active = activeIn(message)) {
    switchboard.setActive(target.identifier, peer, *active);
  } else if (const auto said = Subscribe::in(message, limits.endpointBytes)) {
    switchboard.subscribe(target.identifier, peer, *said);
  } else if (const auto endpoint = unsubscribeIn(message)) {
    switchboard.unsubscribe(target.identifier, peer, *endpoint);
  }
}

void Session::check(Instant now) const {
  if (!authenticated && now >= began + limits.authenticationTime) {
    peer.close(CloseReason::tokenLate);
  } else if (now >= lastReceived + limits.idleTime) {
    if (authenticated) {
      switchboard.silent(target.identifier, peer, now - lastReceived);
    }
    peer.close(CloseReason::silent);
  }
}

void Session::ended(Instant now, bool isLost) {
  if (authenticated && isLost) {
    switchboard.silent(target.identifier, peer, now - lastReceived);
  }
  if (authenticated) {
    switchboard.left(target.identifier, peer);
  }
}

bool Session::isAcceptedMac() const { return authenticated && target.role == Target::Role::mac; }

std::size_t Session::messageLimit() const {
  return isAcceptedMac() ? limits.macMessage : limits.phoneMessage;
}

Rate Session::byteRate() const { return isAcceptedMac() ? limits.macBytes : limits.phoneBytes; }

}  // namespace orvik::relay
