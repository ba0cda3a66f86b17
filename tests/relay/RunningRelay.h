#pragma once

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/use_future.hpp>
#include <boost/asio/write.hpp>
#include <gmock/gmock.h>

#include "relay/MemoryStore.h"
#include "relay/RelayServer.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TemporaryFolder.h"

namespace orvik::relay {

/// A relay on loopback and its clients, all in this thread. The clock stands still.
class RunningRelay : public testing::Test {
 protected:
  static constexpr auto asTuple = asio::as_tuple(asio::use_awaitable);

  void TearDown() override {
    server->stop();
    clock->advance(limits.shutdownTime);
    finish(serving);
  }

  void serve() { serving = asio::co_spawn(context, server->run(), asio::use_future); }

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

  const asio::ip::tcp::endpoint loopback{asio::ip::address_v4::loopback(), 0};
  asio::io_context context;
  std::shared_ptr<test::ManualClock> clock = std::make_shared<test::ManualClock>(context);
  test::TemporaryFolder folder;
  Limits limits;
  MemoryStore store{limits, clock};
  std::optional<RelayServer> server;
  std::future<void> serving;
};

}  // namespace orvik::relay
