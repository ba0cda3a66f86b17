#pragma once

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/use_future.hpp>
#include <boost/asio/write.hpp>
#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "relay/MemoryStore.h"
#include "relay/Server.h"
#include "relay/Signals.h"
#include "tests/support/TemporaryFolder.h"

namespace orvik::relay {

/// Time that stands still until a test moves it, for several threads.
class StandingClock final : public Clock {
 public:
  [[nodiscard]] Instant now() const override { return Instant(elapsed.load()); }
  [[nodiscard]] UnixTime unixNow() const override {
    return UnixTime(std::chrono::seconds(1'800'000'000) + elapsed.load());
  }
  asio::awaitable<void> sleepUntil(Instant) override {
    throw boost::system::system_error(asio::error::operation_aborted);
  }

  std::atomic<Duration> elapsed = Duration(std::chrono::hours(1));
};

/// A relay on loopback with two event loops, and its clients in this thread. The clock stands
/// still.
class RunningRelay : public testing::Test {
 protected:
  static constexpr auto asTuple = asio::as_tuple(asio::use_awaitable);

  void TearDown() override {
    // The second time all are cut.
    server->stop();
    server->stop();
    serving.join();
  }

  void makeServer() {
    limits.threads = 2;
    server.emplace(limits, clock, std::make_unique<MemoryStore>(limits, clock));
  }
  asio::ip::tcp::endpoint listen(Server::Listening listening) {
    listening.address = *ListenAddress::read("127.0.0.1:0");
    return {loopback, server->listen(listening).port()};
  }
  void serve() {
    serving = std::thread([this] {
      blockSignals();
      server->run();
    });
  }
  /// Moves time, and has the relay look at its deadlines. What has come before came earlier.
  void advance(Clock::Duration duration) {
    server->check();
    clock->elapsed = clock->elapsed.load() + duration;
    server->check();
  }

  /// Runs everything until an operation is done, and gives its result.
  template <typename Result>
  Result await(asio::awaitable<Result> operation) {
    auto result = asio::co_spawn(context, std::move(operation), asio::use_future);
    return finish(result);
  }

  template <typename Result>
  Result finish(std::future<Result>& result) {
    while (result.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
      context.restart();
      if (context.run_one_for(std::chrono::seconds(20)) == 0) {
        // The operation refers to the test's variables, so the test cannot be left.
        std::fputs("nothing happens any more\n", stderr);
        std::abort();
      }
    }
    return result.get();
  }

  /// Writes bytes and gives everything that comes back.
  template <typename Stream>
  std::string exchange(Stream& stream, const std::string& bytes) {
    std::string answer;
    await([](Stream& to, const std::string& sent, std::string& all) -> asio::awaitable<void> {
      co_await asio::async_write(to, asio::buffer(sent), asTuple);
      auto buffer = asio::dynamic_buffer(all);
      co_await asio::async_read(to, buffer, asTuple);
    }(stream, bytes, answer));
    return answer;
  }

  const asio::ip::address loopback = asio::ip::address_v4::loopback();
  asio::io_context context;
  std::shared_ptr<StandingClock> clock = std::make_shared<StandingClock>();
  test::TemporaryFolder folder;
  Limits limits;
  std::optional<Server> server;
  std::thread serving;
};

}  // namespace orvik::relay
