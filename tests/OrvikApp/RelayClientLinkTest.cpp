// What joins the main thread and the core's.

#include <gmock/gmock.h>

#include <QThread>
#include <atomic>

#include "OrvikApp/CoreModelClock.h"
#include "OrvikApp/CoreThread.h"
#include "OrvikApp/RelayClientLink.h"
#include "core/connection/BeastWebSocket.h"
#include "core/sampling/BasicSampleSource.h"
#include "tests/support/EventLoop.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TestRelay.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using relayState::Connecting;
using relayState::Online;
using relayState::Stopped;

TEST(RelayClientLink, GoesOnlineAndSaysGoodbye) {
  std::atomic<bool> hasLeft = false;
  const test::TestRelay relay([&](test::TestRelay::Connection& connection) {
    connection.read();
    connection.write(R"({"viewers":3})");
    try {
      for (;;) {
        connection.read();
      }
    } catch (const std::exception&) {
      hasLeft = true;
    }
  });
  CoreThread thread;
  const auto clock = std::make_shared<SystemClock>();
  const auto session =
      std::make_shared<BeastWebSocketSession>(clock, test::fixture("localhost.pem"));
  std::vector<RelayState> states;
  const auto link = std::make_shared<RelayClientLink>(
      thread.executor(),
      [&](RelayClient::StateCallback onState) {
        return std::make_shared<RelayClient>(
            Pairing::generate(), relay.url(), std::make_shared<BasicSampleSource>(clock),
            AlertStateStore::memory(), std::move(onState),
            RelayClient::Dependencies{thread.executor(), clock, session});
      },
      [&](const RelayState& state) {
        EXPECT_EQ(QThread::currentThread(), qApp->thread());
        states.push_back(state);
      });
  bool isUnstartedStopped = false;
  link->stop([&] { isUnstartedStopped = true; });
  ASSERT_TRUE(test::eventually([&] { return isUnstartedStopped; }));
  link->start();
  ASSERT_TRUE(test::eventually([&] { return states.size() == 2; }));
  bool isStopped = false;
  link->stop([&] { isStopped = QThread::currentThread() == qApp->thread(); });
  ASSERT_TRUE(test::eventually([&] { return isStopped && hasLeft; }));
  EXPECT_THAT(states, testing::ElementsAre(Connecting{}, Online{3}, Stopped{}));
}

TEST(CoreModelClock, ActsOnceInItsTimeUnlessCancelled) {
  asio::io_context context;
  const auto time = std::make_shared<test::ManualClock>(context);
  CoreModelClock clock(context.get_executor(), time);
  EXPECT_EQ(clock.now(), time->unixNow());
  std::string log;
  const auto first = clock.after(1h, [&] { log += "first "; });
  static_cast<void>(clock.after(2h, [&] { log += "let-go-of "; }));
  const auto early = clock.after(3h, [&] { log += "cancelled "; });
  const auto late = clock.after(4h, [&] { log += "cancelled-too-late-for-the-core "; });
  const auto pending = clock.after(9h, [&] { log += "never "; });
  const auto advance = [&](Clock::Duration duration) {
    time->advance(duration);
    QCoreApplication::processEvents();
  };
  advance(1h - 1ns);
  EXPECT_EQ(log, "");
  advance(1ns);
  EXPECT_EQ(log, "first ");
  first->cancel();
  early->cancel();
  advance(2h);
  EXPECT_EQ(log, "first let-go-of ");
  time->advance(1h);
  late->cancel();
  advance(1h);
  EXPECT_EQ(log, "first let-go-of ");
}

TEST(CoreThread, EndsWhileSomethingSleeps) {
  bool hasActed = false;
  std::shared_ptr<ModelClock::Task> task;
  {
    CoreThread thread;
    CoreModelClock clock(thread.executor(), std::make_shared<SystemClock>());
    task = clock.after(1h, [&] { hasActed = true; });
  }
  QCoreApplication::processEvents();
  EXPECT_FALSE(hasActed);
}

TEST(RelayEndpoint, IsTheBuildsUnlessTheEnvironmentNamesOne) {
  const auto endpoint = [](const char* relay, const char* trust) {
    qputenv("ORVIK_RELAY", relay);
    qputenv("ORVIK_TRUST", trust);
    return RelayEndpoint::fromEnvironment();
  };
  EXPECT_EQ(endpoint("wss://localhost:47443/at", "/x.pem").url, "wss://localhost:47443/at");
  EXPECT_EQ(endpoint("wss://localhost", "/x.pem").trust, "/x.pem");
  for (const char* wrong : {"ws://localhost", "localhost", "wss://localhost/?x"}) {
    EXPECT_THROW(std::ignore = endpoint(wrong, ""), std::invalid_argument) << wrong;
  }
  EXPECT_EQ(endpoint("", "").url, RelayClient::defaultRelay());
  EXPECT_EQ(endpoint("", "").trust, std::nullopt);
}

}  // namespace
}  // namespace orvik
