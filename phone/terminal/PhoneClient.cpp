#include "phone/terminal/PhoneClient.h"

#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/this_coro.hpp>

#include "core/async/Timeout.h"
#include "core/connection/BackOff.h"
#include "core/connection/WebSocketURL.h"
#include "core/values/Base64.h"
#include "core/values/JSONReader.h"
#include "core/values/JSONValue.h"
#include "phone/terminal/DisplayText.h"

namespace orvik {

namespace {

using namespace asio::experimental::awaitable_operators;
using Phase = ConnectionState::Phase;

/// Phones move between networks, so a dead link is looked for more often than a computer does.
constexpr std::chrono::seconds pingInterval{30};
/// For an answer, and for the network to take a message: both take part of a second.
constexpr std::chrono::seconds answerLimit{20};
constexpr std::chrono::seconds closeLimit{2};
/// RFC 6455, registered by IANA: the relay is overloaded, or has held the phone for too long.
constexpr std::uint16_t tryAgainLater = 1013;

constexpr const char* activeMessage = R"({"active":true})";

std::string authMessage(const Pairing& pairing) {
  return JSONValue(JSONObject{{"auth", base64URL(pairing.authKey().data())}}).text();
}

/// An operation's failure as the system puts it.
std::string messageOf(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const boost::system::system_error& error) {
    return error.code().message();
  } catch (const std::exception& error) {
    return error.what();
  }
}

/// "mac" of a relay's {"mac":true|false}; nothing for any other message.
std::optional<bool> macPresence(const UntypedValue& message) {
  const UntypedValue* mac = message.find("mac");
  const auto* isOnline = mac == nullptr ? nullptr : mac->get<bool>();
  return isOnline == nullptr ? std::nullopt : std::optional(*isOnline);
}

}  // namespace

PhoneClient::PhoneClient(Pairing phonePairing, std::string_view relay,
                         std::shared_ptr<WebSocketSession> webSocketSession,
                         std::shared_ptr<Clock> clientClock, PhoneObserver& phoneObserver)
    : pairing(std::move(phonePairing)),
      url(appendingPath(relay, "v1/phone/" + base64URL(pairing.macId()))),
      session(std::move(webSocketSession)),
      clock(std::move(clientClock)),
      observer(phoneObserver) {}

asio::awaitable<PhoneClient::End> PhoneClient::run() {
  BackOff backOff;
  for (;;) {
    observer.connectionChanged({Phase::connecting, {}, {}});
    co_await connectOnce();
    const asio::cancellation_state cancellation = co_await asio::this_coro::cancellation_state;
    if (!wanted || cancellation.cancelled() != asio::cancellation_type::none) {
      co_return End::finished;
    }
    const bool isRejected = task->receivedCloseCode() == closeCode::pairingRejected;
    const std::string reason = endReason();
    task->close(closeCode::goingAway);
    task = nullptr;
    if (isRejected) {
      co_return End::rejected;
    }
    const std::chrono::seconds wait = backOff.next(accepted);
    observer.connectionChanged({Phase::waiting, wait, reason});
    const std::exception_ptr interruption = co_await failureOf(clock->sleepFor(wait));
    if (interruption) {
      co_return End::finished;
    }
  }
}

asio::awaitable<void> PhoneClient::stop() {
  if (!task) {
    co_return;
  }
  const std::shared_ptr<CloseSignal> closed = closures->watch(task->identifier());
  task->close(closeCode::normal);
  co_await closed->value(*clock, closeLimit);
  task = nullptr;
}

asio::awaitable<void> PhoneClient::connectOnce() {
  const asio::any_io_executor executor = co_await asio::this_coro::executor;
  task = session->webSocketTask(url, executor, closures);
  accepted = false;
  failure.clear();
  const std::exception_ptr problem = co_await failureOf(converse());
  if (problem) {
    failure = messageOf(problem);
  }
}

asio::awaitable<void> PhoneClient::converse() {
  co_await task->connect();
  co_await withTimeout(*clock, answerLimit, task->send(authMessage(pairing)));
  co_await withTimeout(*clock, answerLimit, task->send(activeMessage));
  lastInbound = clock->now();
  observer.connectionChanged({Phase::held, {}, {}});
  // The first loop to end, with a failure or without, ends the other.
  const auto ended = co_await (failureOf(receiveMessages()) || failureOf(watchLink()));
  const auto problem = std::visit([](const std::exception_ptr& first) { return first; }, ended);
  if (problem) {
    std::rethrow_exception(problem);
  }
}

asio::awaitable<void> PhoneClient::receiveMessages() {
  while (wanted) {
    const WebSocketMessage message = co_await task->receive();
    lastInbound = clock->now();
    if (message.isText && message.content != "pong") {
      take(message.content);
    }
  }
}

asio::awaitable<void> PhoneClient::watchLink() {
  co_await clock->sleepFor(pingInterval);
  for (;;) {
    const Instant pinged = clock->now();
    co_await withTimeout(*clock, answerLimit, task->send("ping"));
    co_await clock->sleepFor(answerLimit);
    if (lastInbound < pinged) {
      throw boost::system::system_error(asio::error::timed_out);
    }
    co_await clock->sleepFor(pingInterval - answerLimit);
  }
}

void PhoneClient::take(const std::string& message) {
  try {
    const std::optional<bool> isMacOnline = macPresence(readJSON(message));
    if (isMacOnline) {
      accepted = true;
      observer.connectionChanged({*isMacOnline ? Phase::live : Phase::macOffline, {}, {}});
    } else {
      open(message);
    }
  } catch (const std::runtime_error&) {
    // No JSON, no envelope, or not sealed for this pairing: a relay can send anything.
    observer.unreadable();
  }
}

void PhoneClient::open(const std::string& message) {
  Envelope::Opened opened = Envelope::open(message, pairing);
  UntypedValue content = readJSON(opened.plaintext);
  if (content.get<UntypedValue::Map>() == nullptr) {
    throw JSONError("a payload is an object");
  }
  wanted = observer.opened({opened.kind, std::move(opened.plaintext), std::move(content)});
}

std::string PhoneClient::endReason() const {
  const std::optional<std::uint16_t> code = task->receivedCloseCode();
  if (code == tryAgainLater) {
    return "the relay asks to come back later";
  }
  return code ? "closed by the relay, code " + std::to_string(*code) : displayText(failure);
}

}  // namespace orvik
