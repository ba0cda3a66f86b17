// The loops of one connection, and the task that watches the machine beside them.

#include <boost/asio/experimental/awaitable_operators.hpp>

#include "core/async/Timeout.h"
#include "core/client/RelayClient.h"
#include "core/connection/DeadLinkWatch.h"
#include "core/pairing/Envelope.h"
#include "core/values/JSONReader.h"

namespace orvik {

namespace {

constexpr std::chrono::seconds alertInterval{30};

/// A flag that is up as long as this lives, however its scope is left.
class Raised {
 public:
  explicit Raised(bool& raised) : flag(raised) { flag = true; }
  Raised(const Raised&) = delete;
  Raised& operator=(const Raised&) = delete;
  ~Raised() { flag = false; }

 private:
  bool& flag;
};

[[noreturn]] void throwConnectionLost() {
  throw boost::system::system_error(asio::error::connection_aborted, "the relay has gone silent");
}

}  // namespace

asio::awaitable<void> RelayClient::runSession(Socket task) {
  using namespace asio::experimental::awaitable_operators;
  co_await task->connect();
  co_await task->send(authentication());
  // The first to end, however it ends, cancels the others.
  co_await (failureOf(receiveLoop(task)) || failureOf(sampleLoop(task)) ||
            failureOf(pingLoop(task)));
}

asio::awaitable<void> RelayClient::receiveLoop(Socket task) {
  for (;;) {
    const WebSocketMessage message = co_await task->receive();
    lastInbound = clock->now();
    // A "pong" is not JSON either, and passes like everything else that says nothing.
    const auto said = message.isText ? Presence::fromRelay(message.content) : std::nullopt;
    if (!said) {
      continue;
    }
    presence = *said;
    presenceChanged.notify();
    const bool isAccepted = !std::exchange(online, true);
    onState(relayState::Online{presence.viewers});
    if (isAccepted) {
      co_await flushAlerts();
    }
  }
}

asio::awaitable<void> RelayClient::pingLoop(Socket task) {
  DeadLinkWatch watch;
  for (;;) {
    co_await clock->sleepFor(DeadLinkWatch::pingInterval);
    watch.pinged(clock->now());
    // A link that takes nothing any more must not hold up the question whether it is dead.
    co_await withTimeout(*clock, DeadLinkWatch::answerLimit, task->send("ping"));
    co_await clock->sleepFor(DeadLinkWatch::answerLimit);
    if (watch.isDead(lastInbound)) {
      throwConnectionLost();
    }
  }
}

asio::awaitable<void> RelayClient::sampleLoop(Socket task) {
  SampleSchedule schedule;
  for (;;) {
    const Presence seen = presence;
    if (const auto due = schedule.decide(seen, clock->now())) {
      co_await sendSample(task, schedule, *due);
    }
    co_await waitForDecision(schedule, seen);
  }
}

asio::awaitable<void> RelayClient::sendSample(Socket task, SampleSchedule& schedule,
                                              SampleSchedule::Due due) {
  std::string payload = co_await source->sample(due.withMacInfo);
  schedule.taken(due, clock->now());
  if (due.withHistory) {
    if (const auto minutes = history.json(epochSeconds(clock->unixNow()))) {
      payload = adding("history", *minutes, std::move(payload));
    }
  }
  co_await task->send(Envelope::seal(payload, Envelope::Kind::sample, pairing));
  schedule.sent(due);
}

/// Waits for the next tick at which a decision can differ from "nothing": the ticks between are
/// skipped, so that an unwatched machine is not woken five times a second.
asio::awaitable<void> RelayClient::waitForDecision(const SampleSchedule& schedule, Presence seen) {
  using namespace asio::experimental::awaitable_operators;
  const Instant decided = clock->now();
  const auto hasChanged = [this, seen] { return presence != seen; };
  if (const auto next = schedule.nextDecision(seen, decided)) {
    co_await (presenceChanged.until(hasChanged) || clock->sleepUntil(*next));
  } else {
    co_await presenceChanged.until(hasChanged);
  }
  if (hasChanged()) {
    co_await clock->sleepUntil(SampleSchedule::tickAfter(decided, clock->now()));
  }
}

asio::awaitable<void> RelayClient::alertLoop() {
  for (;;) {
    const Instant now = clock->now();
    if (!lastChecked || now - *lastChecked >= alertInterval) {
      lastChecked = now;
      // What goes wrong with one check (no memory, a source's fault) is not to end the watch.
      co_await failureOf(checkAlerts());
    }
    co_await clock->sleepUntil(*lastChecked + alertInterval);
  }
}

asio::awaitable<void> RelayClient::checkAlerts() {
  const std::string sample = co_await source->alertSample();
  JSONValue value;
  try {
    value = JSONValue::any(readJSON(sample));
  } catch (const JSONError&) {
    co_return;
  }
  const auto* readings = value.get<JSONObject>();
  if (readings == nullptr) {
    co_return;
  }
  history.add(*readings);
  const AlertEngine before = engine;
  std::vector<Alert> raised = engine.evaluate(*readings, AlertSettings());
  if (engine != before) {
    alertState.save(engine);
  }
  for (Alert& alert : raised) {
    alerts.append(std::move(alert));
  }
  if (!raised.empty()) {
    co_await flushAlerts();
  }
}

/// Sends what waits, oldest first. Both tasks come here; one at a time sends.
asio::awaitable<void> RelayClient::flushAlerts() {
  // Once more when the connection has changed: the new one has found a flush under way.
  for (Socket task; online && socket && socket != task && !flushing;) {
    task = socket;
    const Raised mark(flushing);
    // What was not sent, for whatever reason, is still in the queue.
    co_await failureOf(sendDueAlerts(task));
  }
}

asio::awaitable<void> RelayClient::sendDueAlerts(Socket task) {
  // Asked again for each: what is raised meanwhile finds a flush under way, and is its business.
  while (socket == task) {
    const std::vector<Alert> due = alerts.due(epochMilliseconds(clock->unixNow()));
    if (due.empty()) {
      co_return;
    }
    const Alert& alert = due.front();
    co_await task->send(Envelope::seal(alert.json().text(), Envelope::Kind::alert, pairing));
    alerts.sent(alert);
  }
}

}  // namespace orvik
