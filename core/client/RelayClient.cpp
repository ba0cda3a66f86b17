#include "core/client/RelayClient.h"

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/this_coro.hpp>

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "core/BuildConstants.h"
#include "core/async/RunOn.h"
#include "core/async/Timeout.h"
#include "core/connection/BackOff.h"
#include "core/connection/WebSocketURL.h"
#include "core/values/Base64.h"

namespace orvik {

namespace {

/// How long `stop` waits for the relay's answer.
constexpr std::chrono::seconds farewellLimit{2};

asio::awaitable<bool> isCancelled() {
  const asio::cancellation_state state = co_await asio::this_coro::cancellation_state;
  co_return state.cancelled() != asio::cancellation_type::none;
}

}  // namespace

struct RelayClient::TaskHandle {
  asio::cancellation_signal cancellation;
  void cancel() { cancellation.emit(asio::cancellation_type::terminal); }
};

const std::string& RelayClient::defaultRelay() {
  static const std::string url = [] {
    if (!WebSocketURL::parse(build::relayURL)) {
      std::fputs("the build's default relay is not a wss URL\n", stderr);
      std::abort();
    }
    return std::string(build::relayURL);
  }();
  return url;
}

RelayClient::RelayClient(Pairing pairing, std::string relay, std::shared_ptr<SampleSource> source,
                         AlertStateStore alertState, StateCallback onState,
                         Dependencies dependencies)
    : pairing(std::move(pairing)),
      relay(std::move(relay)),
      source(std::move(source)),
      onState(std::move(onState)),
      clock(std::move(dependencies.clock)),
      session(std::move(dependencies.session)),
      strand(asio::make_strand(dependencies.executor)),
      alertState(std::move(alertState)),
      engine(this->alertState.load().value_or(AlertEngine())),
      presenceChanged(strand),
      lastInbound(clock->now()) {}

std::shared_ptr<RelayClient::TaskHandle> RelayClient::spawn(asio::awaitable<void> work) {
  auto handle = std::make_shared<TaskHandle>();
  // The completion handler keeps the client and the signal alive; a task that was cancelled ends
  // with an exception that says no more than that.
  asio::co_spawn(strand, std::move(work),
                 asio::bind_cancellation_slot(
                     handle->cancellation.slot(),
                     [self = shared_from_this(), handle](const std::exception_ptr&) {}));
  return handle;
}

void RelayClient::start() {
  asio::dispatch(strand, [self = shared_from_this()] {
    if (!self->runTask) {
      self->runTask = self->spawn(self->run());
      if (!self->alertTask) {
        self->alertTask = self->spawn(self->alertLoop());
      }
    }
  });
}

asio::awaitable<void> RelayClient::stop() {
  const auto self = shared_from_this();
  co_await runOn(strand, stopOnStrand());
}

asio::awaitable<void> RelayClient::stopOnStrand() {
  for (auto* task : {&runTask, &alertTask}) {
    if (const auto handle = std::exchange(*task, nullptr)) {
      handle->cancel();
    }
  }
  presence = {};
  if (const Socket closing = std::exchange(socket, nullptr)) {
    const auto signal = closures->watch(closing->identifier());
    closing->close(closeCode::normal);
    co_await signal->value(*clock, farewellLimit);
  }
  onState(relayState::Stopped{});
}

asio::awaitable<void> RelayClient::run() {
  BackOff backOff;
  for (;;) {
    onState(relayState::Connecting{});
    const Outcome outcome = co_await connectOnce();
    if (co_await isCancelled()) {
      co_return;
    }
    if (outcome == Outcome::rejected) {
      onState(relayState::Rejected{});
      runTask = nullptr;
      co_return;
    }
    const std::chrono::seconds wait = backOff.next(outcome == Outcome::wasOnline);
    onState(relayState::Waiting{wait.count()});
    co_await clock->sleepFor(wait);
  }
}

asio::awaitable<RelayClient::Outcome> RelayClient::connectOnce() {
  Socket task;
  try {
    task = session->webSocketTask(connectionURL(), strand, closures);
  } catch (const std::exception&) {
    co_return Outcome::failed;  // no memory for TLS: as good a reason to try again later as any
  }
  socket = task;
  online = false;
  presence = {};
  lastInbound = clock->now();
  // Whatever ends the connection, only its close code matters.
  co_await failureOf(runSession(task));
  if (socket == task) {
    task->close(closeCode::goingAway);
    socket = nullptr;
  }
  if (task->receivedCloseCode() == closeCode::pairingRejected) {
    co_return Outcome::rejected;
  }
  co_return online ? Outcome::wasOnline : Outcome::failed;
}

std::string RelayClient::connectionURL() const {
  return appendingPath(relay, "v1/mac/" + base64URL(pairing.macId()));
}

std::string RelayClient::authentication() const {
  const SymmetricKey key = pairing.authKey();
  return JSONValue(JSONObject{{"auth", base64URL(key.data())}}).text();
}

asio::awaitable<void> RelayClient::emitForTesting(Alert alert) {
  const auto self = shared_from_this();
  const auto work = [](std::shared_ptr<RelayClient> client, Alert queued) -> asio::awaitable<void> {
    client->alerts.append(std::move(queued));
    co_await client->flushAlerts();
  };
  co_await runOn(strand, work(self, std::move(alert)));
}

std::string RelayClient::adding(std::string_view key, const JSONValue& value, std::string data) {
  if (data.size() < 3 || data.back() != '}') {
    return data;
  }
  data.back() = ',';
  JSONValue::writeString(key, data);
  data += ':';
  value.write(data);
  data += '}';
  return data;
}

}  // namespace orvik
