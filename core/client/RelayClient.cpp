#include "core/client/RelayClient.h"

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "core/BuildConstants.h"
#include "core/async/RunOn.h"
#include "core/async/Timeout.h"
#include "core/connection/WebSocketURL.h"
#include "core/pairing/Envelope.h"
#include "core/values/Base64.h"
#include "core/values/JSONReader.h"

namespace orvik {

namespace {

constexpr std::chrono::seconds alertInterval{30};
/// With the 20 s that an answer may take, a dead link is found within 100 s.
constexpr std::chrono::seconds pingPause{60};

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

}  // namespace

struct RelayClient::TaskHandle {
  asio::cancellation_signal cancellation;
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

RelayClient::RelayClient(Pairing pairing, const std::string& relay,
                         std::shared_ptr<SampleSource> source, AlertStateStore alertState,
                         StateCallback onState, Dependencies dependencies)
    : pairing(std::move(pairing)),
      source(std::move(source)),
      onState(std::move(onState)),
      clock(std::move(dependencies.clock)),
      strand(asio::make_strand(dependencies.executor)),
      connection(appendingPath(relay, "v1/mac/" + base64URL(this->pairing.macId())),
                 std::move(dependencies.session), clock, pingPause, *this),
      alertState(std::move(alertState)),
      engine(this->alertState.load().value_or(AlertEngine())),
      alerts(std::move(dependencies.alerts)),
      presenceChanged(strand) {}

void RelayClient::spawn(std::shared_ptr<TaskHandle>& task, asio::awaitable<void> work) {
  // There before the work begins, which may ask for it.
  const auto handle = task = std::make_shared<TaskHandle>();
  // The completion handler keeps the client and the signal alive; a task that was cancelled ends
  // with an exception that says no more than that.
  asio::co_spawn(strand, std::move(work),
                 asio::bind_cancellation_slot(
                     handle->cancellation.slot(),
                     [self = shared_from_this(), handle](const std::exception_ptr&) {}));
}

void RelayClient::start() {
  asio::dispatch(strand, [self = shared_from_this()] {
    if (!self->runTask) {
      ++self->startCount;
      self->spawn(self->runTask, self->run());
      if (!self->alertTask) {
        self->spawn(self->alertTask, self->alertLoop());
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
      handle->cancellation.emit(asio::cancellation_type::terminal);
    }
  }
  presence = {};
  const std::uint64_t stopped = startCount;
  co_await connection.close();
  // Who has started it again meanwhile is not to hear that it has stopped.
  if (startCount == stopped) {
    onState(relayState::Stopped{});
  }
}

asio::awaitable<void> RelayClient::run() {
  // Ends only when the relay has refused the pairing.
  co_await connection.run();
  // Before the callback, which may start afresh.
  runTask = nullptr;
  onState(relayState::Rejected{});
}

void RelayClient::connecting() {
  presence = {};
  onState(relayState::Connecting{});
}

void RelayClient::waiting(std::chrono::seconds wait, const PersistentConnection::Ending& ending) {
  onState(relayState::Waiting{wait.count(), ending.reason(), ending.kind()});
}

asio::awaitable<void> RelayClient::talk(Link link) {
  alerts->connectionBegan();
  relayKeepsAlerts = relayPushes = false;
  {
    // For as long as a conversation lasts its first words need not be remembered.
    const SecretText authentication = pairing.authMessage();
    co_await link->send(authentication.text());
  }
  co_await firstOf(receiveLoop(link), sampleLoop(link));
}

asio::awaitable<void> RelayClient::receiveLoop(Link link) {
  for (;;) {
    const WebSocketMessage message = co_await link->receive();
    // A "pong" is not JSON either, and passes like everything else that says nothing.
    const auto said = message.isText ? Presence::fromRelay(message.content) : std::nullopt;
    if (!said) {
      noteWhatItKeeps(message);
      continue;
    }
    presence = *said;
    presenceChanged.notify();
    const bool isAccepted = !std::exchange(link->isAccepted, true);
    onState(relayState::Online{presence.viewers});
    if (isAccepted) {
      co_await flushAlerts();
    }
  }
}

void RelayClient::noteWhatItKeeps(const WebSocketMessage& message) {
  const auto safe = message.isText ? safeAlertsFromRelay(message.content) : std::nullopt;
  if (safe) {
    relayKeepsAlerts = true;
    alerts->safe(*safe);
  } else if (message.isText && saysThatItPushes(message.content)) {
    relayPushes = true;
  }
}

asio::awaitable<void> RelayClient::sampleLoop(Link link) {
  SampleSchedule schedule;
  for (;;) {
    const Presence seen = presence;
    if (const auto due = schedule.decide(seen, clock->now())) {
      co_await sendSample(link, schedule, *due);
    }
    co_await waitForDecision(schedule, seen);
  }
}

asio::awaitable<void> RelayClient::sendSample(Link link, SampleSchedule& schedule,
                                              SampleSchedule::Due due) {
  std::string payload = co_await source->sample(due.withMacInfo);
  schedule.taken(due, clock->now());
  if (due.withHistory) {
    if (const auto minutes = history.json(epochSeconds(clock->unixNow()))) {
      payload = adding("history", *minutes, std::move(payload));
    }
  }
  co_await link->send(Envelope::seal(payload, Envelope::Kind::sample, pairing));
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
  // A time in the future, of a clock that has been put right since, is no time.
  const Clock::UnixTime now = clock->unixNow();
  history.forgetAfter(epochSeconds(now));
  history.add(*readings);
  const AlertEngine before = engine;
  engine.forgetTimesAfter(epochMilliseconds(now));
  std::vector<Alert> raised = engine.evaluate(*readings, AlertSettings());
  if (engine != before) {
    alertState.save(engine);
  }
  for (Alert& alert : raised) {
    alerts->append(std::move(alert));
  }
  if (!raised.empty()) {
    co_await flushAlerts();
  }
}

asio::awaitable<void> RelayClient::emitForTesting(Alert alert) {
  const auto self = shared_from_this();
  co_await runOn(strand, queueAlert(std::move(alert)));
}

asio::awaitable<void> RelayClient::queueAlert(Alert alert) {
  // The queue finds what was sent by comparing it, and what is no number equals nothing.
  if (alert.value && !std::isfinite(*alert.value)) {
    alert.value.reset();
  }
  alerts->append(std::move(alert));
  co_await flushAlerts();
}

/// Sends what waits, oldest first. Both tasks come here; one at a time sends.
asio::awaitable<void> RelayClient::flushAlerts() {
  // Once more when the connection has changed: the new one has found a flush under way.
  Link tried;
  while (!flushing && connection.link() && connection.link()->isAccepted &&
         connection.link() != tried) {
    tried = connection.link();
    const Raised mark(flushing);
    // What was not sent, for whatever reason, is still in the queue.
    co_await failureOf(sendDueAlerts(tried));
  }
}

asio::awaitable<void> RelayClient::sendDueAlerts(Link link) {
  // Asked again for each: what is raised meanwhile finds a flush under way, and is its business.
  while (connection.link() == link) {
    AlertQueue::Entry* const next = alerts->unsent(epochMilliseconds(clock->unixNow()));
    if (next == nullptr) {
      co_return;
    }
    const Alert alert = next->alert;
    std::string envelope = relayKeepsAlerts ? next->envelope : std::string();
    if (envelope.empty()) {
      envelope = Envelope::seal(alert.json().text(), Envelope::Kind::alert, pairing);
    }
    if (relayKeepsAlerts) {
      // Noted first: the relay may call it safe before the connection says that it is sent.
      next->envelope = envelope;
      alerts->sending(*next);
      co_await send(link, alert, std::move(envelope));
    } else {
      alerts->sendingLast();
      co_await send(link, alert, std::move(envelope));
      alerts->sent(alert);
    }
  }
}

asio::awaitable<void> RelayClient::send(Link link, Alert alert, std::string envelope) {
  if (relayPushes) {
    const JSONValue mark = JSONObject{{"topic", pairing.topic(Alert::text(alert.kind))},
                                      {"urgent", alert.state == Alert::State::raised}};
    std::string next = JSONValue(JSONObject{{"next", mark}}).text();
    co_await link->send(std::move(next));
  }
  co_await link->send(std::move(envelope));
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
