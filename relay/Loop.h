#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

#include <array>
#include <deque>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "relay/Drain.h"
#include "relay/Metrics.h"
#include "relay/SharedState.h"
#include "relay/Switchboard.h"

namespace orvik::relay {

class Connection;
struct Arrival;

/// One event loop: a thread, its connections, and who hears what among them. Everything but
/// `start`, `join`, `post` and the counters' values belongs to the thread.
class Loop {
 public:
  explicit Loop(SharedState& shared);
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;
  ~Loop();

  /// Runs in a thread of its own until `stop`.
  void start();
  /// From the thread itself or any other; connections that are left are forgotten.
  void stop() { context.stop(); }
  void join();
  /// Runs in the calling thread, until `stop`.
  void run();

  /// Runs a function on the loop soon. From any thread.
  template <typename Function>
  void post(Function function) {
    asio::post(context, std::move(function));
  }

  /// Begins with a connection that the system has given.
  void take(Arrival arrival);
  void add(std::shared_ptr<Connection> connection);
  void remove(Connection& connection);
  /// Sends what a connection has to send at the end of this turn.
  void flushLater(std::shared_ptr<Connection> connection);
  /// Whether there is room for another handshake of TLS. When not, `beginHandshake` of the
  /// connection is called once there is. `endHandshake` makes room.
  [[nodiscard]] bool mayShakeHands(std::shared_ptr<Connection> connection);
  void endHandshake();
  [[nodiscard]] bool hasQueued() const noexcept { return !queued.empty(); }
  /// How long a client without a token may say nothing while others wait to be accepted, and how
  /// long its handshake may take while others wait for theirs. What it has said may wait here too.
  [[nodiscard]] Clock::Duration patience() const { return shared.limits.crowdedTime + delay(); }
  [[nodiscard]] Clock::Duration turn() const { return shared.limits.handshakeTurn + delay(); }
  /// Acts on deadlines. Called regularly.
  void check();
  /// Closes all connections as planned.
  void drain(const Drain& plan);
  /// Ends all connections without a word.
  void cutAll();
  [[nodiscard]] std::size_t size() const noexcept { return connections.size(); }

  [[nodiscard]] Instant now() const { return shared.clock->now(); }
  /// Whether this loop's share of the memory for what waits is used up.
  [[nodiscard]] bool isFull() const {
    return counters.value(Metric::bufferedBytes) > static_cast<std::int64_t>(mostBuffered);
  }

  SharedState& shared;
  asio::io_context context{1};
  Counters counters;
  Switchboard switchboard;
  /// For all connections: what is read is used up before the next reads.
  std::array<char, 64 * Limits::kibibyte> readBuffer;
  std::array<char, 16 * Limits::kibibyte> writeRoom;

 private:
  void tick();
  void flushAll();
  /// What a client may have had to wait for here, to its answer and the next.
  [[nodiscard]] Clock::Duration delay() const;

  const std::size_t mostBuffered;
  asio::steady_timer timer{context};
  std::optional<Drain> draining;
  std::vector<std::shared_ptr<Connection>> connections;
  std::vector<std::shared_ptr<Connection>> toFlush;
  /// Those that wait for their handshake.
  std::deque<std::shared_ptr<Connection>> queued;
  std::size_t handshakes = 0;
  bool isFlushPosted = false;
  std::thread thread;
};

}  // namespace orvik::relay
