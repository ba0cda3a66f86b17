// What joins the main thread and the core's.

#include <gtest/gtest.h>

#include <QThread>

#include "OrvikApp/CoreModelClock.h"
#include "OrvikApp/CoreThread.h"
#include "OrvikApp/RelayClientLink.h"
#include "core/connection/BeastWebSocket.h"
#include "core/sampling/BasicSampleSource.h"
#include "tests/support/EventLoop.h"
#include "tests/support/ManualClock.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using relayState::Connecting;
using relayState::Stopped;
using relayState::Waiting;

TEST(RelayClientLink, TellsTheMainThreadWhatTheClientDoes) {
  CoreThread thread;
  const auto clock = std::make_shared<SystemClock>();
  const auto session =
      std::make_shared<BeastWebSocketSession>(clock, ServerTrust{ORVIK_FIXTURES "/localhost.pem"});
  std::vector<RelayState> states;
  const auto link = std::make_shared<RelayClientLink>(
      thread.executor(),
      [&](RelayClient::StateCallback onState) {
        return std::make_shared<RelayClient>(
            Pairing::generate(), "wss://localhost:1", std::make_shared<BasicSampleSource>(clock),
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
  ASSERT_TRUE(test::eventually([&] { return states.size() >= 2; }));
  bool isStopped = false;
  link->stop([&] { isStopped = QThread::currentThread() == qApp->thread(); });
  ASSERT_TRUE(test::eventually([&] { return isStopped; }));
  EXPECT_EQ(states.at(0), RelayState(Connecting{}));
  EXPECT_EQ(states.at(1), RelayState(Waiting{1, "Connection refused"}));
  EXPECT_EQ(states.back(), RelayState(Stopped{}));
}

TEST(WaitingAlerts, AreForTheNextLinkToTheSamePhones) {
  WaitingAlerts waiting;
  const Pairing pairing = Pairing::generate();
  const auto queue = waiting.of(pairing);
  EXPECT_EQ(waiting.of(pairing), queue);
  EXPECT_NE(waiting.of(Pairing::generate()), queue);
  EXPECT_NE(waiting.of(pairing), queue) << "its phones have been disconnected meanwhile";
}

TEST(CoreModelClock, ActsInItsTimeUnlessItIsCancelledOrItsThreadEnds) {
  asio::io_context context;
  const auto time = std::make_shared<test::ManualClock>(context);
  CoreModelClock clock(context.get_executor(), time);
  std::string log;
  const auto early = clock.after(1h, [&] { log += "early "; });
  const auto late = clock.after(2h, [&] { log += "cancelled-too-late-for-the-core "; });
  time->advance(1h - 1ns);
  QCoreApplication::processEvents();
  EXPECT_EQ(log, "");
  time->advance(2h);
  late->cancel();
  QCoreApplication::processEvents();
  EXPECT_EQ(log, "early ");
  std::shared_ptr<ModelClock::Task> task;
  {
    CoreThread thread;
    CoreModelClock real(thread.executor(), std::make_shared<SystemClock>());
    task = real.after(1h, [&] { log += "never"; });
  }
  QCoreApplication::processEvents();
  EXPECT_EQ(log, "early ");
}

}  // namespace
}  // namespace orvik
