#include "relay/Loop.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <string_view>

#include "relay/Connection.h"
#include "relay/Log.h"
#include "relay/Signals.h"

namespace orvik::relay {

Loop& SharedState::home(const Identifier& identifier) const {
  // With a secret, so that no stranger chooses the loop that his clients load.
  std::array<char, sizeof secret + sizeof identifier> bytes{};
  std::memcpy(bytes.data(), &secret, sizeof secret);
  std::memcpy(bytes.data() + sizeof secret, identifier.data(), identifier.size());
  return *loops[std::hash<std::string_view>()({bytes.data(), bytes.size()}) % loops.size()];
}

Loop::Loop(SharedState& shared)
    : shared(shared),
      switchboard(
          shared.limits, *shared.store,
          [this](std::function<void()> call) { asio::post(context, std::move(call)); },
          [&shared] { return epochSeconds(shared.clock->unixNow()); }),
      mostBuffered(shared.limits.bufferedBytes / std::max<std::size_t>(1, shared.limits.threads)) {}

Loop::~Loop() { join(); }

void Loop::start() {
  thread = std::thread([this] {
    blockSignals();
    run();
  });
}

void Loop::join() {
  if (thread.joinable()) {
    thread.join();
  }
}

void Loop::run() {
  tick();
  const auto work = asio::make_work_guard(context);
  for (bool isOver = false; !isOver;) {
    try {
      context.run();
      isOver = true;
    } catch (const std::bad_alloc&) {
      // What it was for ends by its deadline.
      log(Priority::error, "out of memory");
    }
  }
}

void Loop::tick() {
  // Real time, whatever the clock says: deadlines are the clock's.
  const Clock::Duration interval = draining         ? std::chrono::milliseconds(20)
                                   : queued.empty() ? shared.limits.checkInterval
                                                    : shared.limits.handshakeTurn / 2;
  timer.expires_after(std::chrono::duration_cast<std::chrono::milliseconds>(interval));
  timer.async_wait([this](const boost::system::error_code& error) {
    if (error) {
      return;
    }
    const auto late = std::chrono::steady_clock::now() - timer.expiry();
    counters.set(Metric::loopLag,
                 std::chrono::duration_cast<std::chrono::nanoseconds>(late).count());
    // First, so that it goes on whatever becomes of the check.
    tick();
    check();
  });
}

void Loop::check() {
  const Instant at = now();
  switchboard.expire(at);
  // Nothing leaves the list meanwhile: who ends is removed later.
  for (const auto& connection : connections) {
    connection->check(at);
  }
  if (draining) {
    const auto isLeft = [](const auto& connection) { return !connection->isClosing(); };
    std::size_t due =
        draining->due(at, static_cast<std::size_t>(std::ranges::count_if(connections, isLeft)));
    for (std::size_t i = 0; due > 0 && i < connections.size(); ++i) {
      if (isLeft(connections[i])) {
        connections[i]->close(CloseReason::shuttingDown);
        --due;
      }
    }
  }
}

void Loop::drain(const Drain& plan) {
  draining = plan;
  check();
  tick();
}

void Loop::cutAll() {
  for (const auto& connection : connections) {
    connection->cut(CloseReason::closingLate);
  }
}

void Loop::take(Arrival arrival) {
  std::shared_ptr<Connection> connection;
  try {
    connection = std::make_shared<Connection>(*this, arrival);
    add(connection);
  } catch (const std::bad_alloc&) {
    counters.ended(CloseReason::shortOfMemory);
    if (arrival.service == Service::clients) {
      shared.admission.leave(arrival.address, false);
    }
    return;
  }
  connection->start(std::move(arrival.descriptor));
}

void Loop::add(std::shared_ptr<Connection> connection) {
  connection->place = connections.size();
  connections.push_back(std::move(connection));
  counters.add(Metric::connections);
}

void Loop::remove(Connection& connection) {
  const std::size_t place = connection.place;
  connections[place].swap(connections.back());
  connections[place]->place = place;
  connections.pop_back();
  counters.add(Metric::connections, -1);
}

void Loop::flushLater(std::shared_ptr<Connection> connection) {
  toFlush.push_back(std::move(connection));
  if (!isFlushPosted) {
    asio::post(context, [this] { flushAll(); });
    isFlushPosted = true;
  }
}

void Loop::flushAll() {
  isFlushPosted = false;
  std::vector<std::shared_ptr<Connection>> due;
  due.swap(toFlush);
  for (const auto& waiting : due) {
    try {
      waiting->flush();
    } catch (const std::bad_alloc&) {
      waiting->cut(CloseReason::shortOfMemory);
    }
  }
}

bool Loop::mayShakeHands(std::shared_ptr<Connection> connection) {
  if (handshakes < shared.limits.handshakes) {
    ++handshakes;
    return true;
  }
  queued.push_back(std::move(connection));
  counters.add(Metric::handshakesWaiting);
  return false;
}

void Loop::endHandshake() {
  if (queued.empty()) {
    --handshakes;
    return;
  }
  counters.add(Metric::handshakesWaiting, -1);
  // Not at once: one that fails at its first bytes would begin the next, and so on.
  asio::post(context, [next = std::move(queued.front())] { next->beginHandshake(); });
  queued.pop_front();
}

Clock::Duration Loop::delay() const {
  return 4 * Clock::Duration(std::chrono::nanoseconds(counters.value(Metric::loopLag)));
}

}  // namespace orvik::relay
