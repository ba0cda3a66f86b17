// The relay client over real TLS connections to a server that misbehaves, on manual time.

#include <boost/asio/co_spawn.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>

#include "core/client/RelayClient.h"
#include "core/connection/BeastWebSocket.h"
#include "core/sampling/BasicSampleSource.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TestRelay.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using namespace relayState;
using test::TestRelay;
using testing::ElementsAre;

/// Real seconds after which a test gives up waiting for the network.
constexpr auto timeout = 20s;

class RealLink : public testing::Test {
 protected:
  ~RealLink() override {
    if (client) {
      asio::co_spawn(context, client->stop(), [](const std::exception_ptr&) {});
      clock->advance(2s);
    }
  }
  void start(const std::string& url, const std::string& trusted = "localhost.pem") {
    start(url, ServerTrust{test::fixture(trusted)});
  }
  void start(const std::string& url, const ServerTrust& trust) {
    session = std::make_shared<BeastWebSocketSession>(clock, trust);
    client = std::make_shared<RelayClient>(
        Pairing(Bytes(16, 1), Bytes(32, 2)), url, std::make_shared<BasicSampleSource>(clock),
        AlertStateStore::memory(),
        [this](RelayState state) {
          // The reason is the system's word.
          if (auto* const waiting = std::get_if<Waiting>(&state)) {
            waiting->reason.clear();
          }
          states.push_back(state);
        },
        RelayClient::Dependencies{context.get_executor(), clock, session});
    client->start();
  }
  void waitUntil(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
      ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "waited in vain";
      context.restart();
      context.run_one_for(10ms);
    }
  }
  void waitForState(const RelayState& state) {
    waitUntil([&] { return !states.empty() && states.back() == state; });
  }
  /// Stops, and expects that it takes exactly this much manual time.
  void stop(Clock::Duration expected = 0s) {
    bool stopped = false;
    asio::co_spawn(context, client->stop(), [&](const std::exception_ptr&) { stopped = true; });
    if (expected > 0s) {
      clock->advance(expected - 1ms);
      EXPECT_FALSE(stopped);
      clock->advance(1ms);
    }
    waitUntil([&] { return stopped; });
    EXPECT_EQ(states.back(), RelayState(Stopped{}));
    client = nullptr;
  }

  asio::io_context context;
  std::shared_ptr<test::ManualClock> clock = std::make_shared<test::ManualClock>(context);
  std::shared_ptr<BeastWebSocketSession> session;
  std::shared_ptr<RelayClient> client;
  std::vector<RelayState> states;
};

TEST_F(RealLink, StoppingIsAnsweredOrTakesTwoSeconds) {
  for (const bool answers : {true, false}) {
    std::atomic<bool> isPinged = false;
    const TestRelay relay([&](TestRelay::Connection& connection) {
      connection.read();
      connection.write(R"({"viewers":0})");
      isPinged = connection.read() == "ping";
      if (answers) {
        connection.read();
      }
      connection.hang();
    });
    start(relay.url());
    waitForState(Online{0});
    clock->advance(60s);
    waitUntil([&] { return isPinged.load(); });
    stop(answers ? 0s : 2s);
  }
}

TEST_F(RealLink, ConnectingIsBoundedAndCanBeStopped) {
  for (const TestRelay::Options& options :
       {TestRelay::Options{.isMute = true}, TestRelay::Options{.isMuteAfterTLS = true}}) {
    states.clear();
    const TestRelay relay([](TestRelay::Connection&) {}, options);
    start(relay.url());
    waitUntil([&] { return relay.connectionCount() == 1; });
    clock->advance(59s);
    EXPECT_THAT(states, ElementsAre(Connecting{}));
    clock->advance(1s);
    waitForState(Waiting{1});
    clock->advance(1s);
    waitUntil([&] { return relay.connectionCount() == 2; });
    stop();
  }
}

const Waiting refusal{.retryIn = 1, .kind = LinkFailure::insecure};

TEST_F(RealLink, TrustAndNameAreBothVerified) {
  std::atomic<int> reached = 0;
  const auto script = [&](TestRelay::Connection& connection) {
    connection.read();
    ++reached;
    connection.write(R"({"viewers":0})");
    connection.hang();
  };
  const struct {
    const char* certificate;
    const char* trusted;
    bool isAccepted;
  } cases[] = {{"localhost", "localhost.pem", true},
               {"localhost", "other.pem", false},
               {"other", "other.pem", false}};
  for (const auto& [certificate, trusted, isAccepted] : cases) {
    const TestRelay relay(script, {.certificate = certificate});
    for (const bool byAddress : {false, true}) {
      reached = 0;
      std::string url = relay.url();
      if (byAddress) {
        url.replace(url.find("localhost"), 9, "127.0.0.1");
      }
      start(url, trusted);
      waitForState(isAccepted ? RelayState(Online{0}) : RelayState(refusal));
      EXPECT_EQ(reached > 0, isAccepted);
      stop(isAccepted ? 2s : 0s);
    }
  }
  EXPECT_THROW(BeastWebSocketSession(clock, ServerTrust{test::fixture("none.pem")}),
               std::runtime_error);
}

TEST_F(RealLink, ACertificateIsTrustedByItsOwnFingerprint) {
  const auto script = [](TestRelay::Connection& connection) {
    connection.read();
    connection.write(R"({"viewers":0,"active":0})");
    connection.read();
  };
  // Of its own making, and for another name.
  const TestRelay relay(script, {.certificate = "other"});
  const TestRelay another(script, {.certificate = "localhost"});
  std::string refused;
  start(relay.url(), ServerTrust{.onRefused = [&](const std::string& told) { refused = told; }});
  waitForState(refusal);
  stop();
  ASSERT_EQ(refused.size(), 95U);
  start(relay.url(), ServerTrust{.fingerprint = refused});
  waitForState(Online{0});
  stop();
  start(another.url(), ServerTrust{.fingerprint = refused});
  waitForState(refusal);
  stop();
}

TEST_F(RealLink, HostileMessagesChangeNothing) {
  std::atomic<int> round = 0;
  TestRelay relay([&](TestRelay::Connection& connection) {
    connection.read();
    if (round++ == 0) {
      connection.write(R"({"viewers":1,"active":0})");
      connection.write(std::string(30'000, '['));
      connection.write(R"({"viewers":9})", false);
      connection.write("\x01{}");
      connection.write(R"({"viewers":9)");
      // The largest message that is taken, then one byte more.
      const std::string head = R"({"viewers":2,"active":0,"pad":")";
      connection.write(head + std::string(64 * 1024 - head.size() - 2, 'x') + R"("})");
      connection.write(R"({"viewers":9,"active":0,"pad":")" +
                       std::string(64 * 1024 - head.size() - 1, 'x') + R"("})");
    }
    connection.hang();
  });
  start(relay.url());
  waitForState(Waiting{1});
  EXPECT_THAT(states, ElementsAre(Connecting{}, Online{1}, Online{2}, Waiting{1}));
}

TEST_F(RealLink, ARefusalIsToldAtOnce) {
  const TestRelay relay([](TestRelay::Connection& connection) {
    connection.read();
    // A close frame with code 4403, and not a word more: this handshake never ends.
    connection.writeBytes("\x88\x02\x11\x33");
    connection.hang();
  });
  start(relay.url());
  waitForState(Rejected{});
  EXPECT_THAT(states, ElementsAre(Connecting{}, Rejected{}));
  stop();
}

}  // namespace
}  // namespace orvik
