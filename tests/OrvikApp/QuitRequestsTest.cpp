#include <gmock/gmock.h>

#include <QEvent>
#include <QGuiApplication>
#include <QTimer>
#include <csignal>

#include "OrvikApp/CoreThread.h"
#include "OrvikApp/QuitRequests.h"
#include "OrvikApp/TerminationSignals.h"
#include "tests/OrvikApp/FakeDesktop.h"
#include "tests/support/EventLoop.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;

class Quitting : public testing::Test {
 protected:
  void finishGoodbye() { desktop.links[0]->finishStop(); }
  [[nodiscard]] int goodbyes() const { return desktop.links[0]->stops; }

  test::FakeDesktop desktop;
  std::unique_ptr<AppModel> model = desktop.model();
  int ends = 0;
  /// The hold is far longer than a test waits, the time until a session goes on is over at once.
  QuitRequests requests{[this] { ++ends; }, {.sessionHold = 1h, .sessionGoesOn = 1ms}};
};

TEST_F(Quitting, EveryRequestWaitsForTheOneGoodbye) {
  CoreThread thread;
  int signals = 0;
  onTerminationSignal(thread.executor(), [&] {
    ++signals;
    requests.requestQuit();
  });
  const auto sendQuitEvent = [] {
    QEvent quit(QEvent::Quit);
    QCoreApplication::sendEvent(qGuiApp, &quit);
    return quit.isAccepted();
  };
  int sent = 0;
  for (const int number : {SIGTERM, SIGTERM, SIGINT, SIGHUP}) {
    kill(getpid(), number);
    ++sent;
    ASSERT_TRUE(test::eventually([&] { return signals == sent; }));
  }
  EXPECT_TRUE(sendQuitEvent());
  requests.requestQuit();
  EXPECT_EQ(goodbyes(), 1);
  EXPECT_EQ(ends, 0);
  finishGoodbye();
  EXPECT_EQ(ends, 1);
  EXPECT_TRUE(sendQuitEvent());
  EXPECT_EQ(ends, 2);
}

TEST_F(Quitting, ASystemThatAsksWaitsForTheGoodbye) {
  int allowed = 0;
  requests.requestQuit();
  EXPECT_EQ(requests.answer([&] { ++allowed; }), TerminateReply::later);
  EXPECT_EQ(goodbyes(), 1);
  EXPECT_EQ(allowed + ends, 0);
  finishGoodbye();
  EXPECT_EQ(allowed, 1);
  EXPECT_EQ(ends, 1);
  // Without a link, and without a model, there is none.
  EXPECT_EQ(requests.answer([&] { ++allowed; }), TerminateReply::now);
  model.reset();
  requests.requestQuit();
  EXPECT_EQ(allowed, 1);
  EXPECT_EQ(ends, 2);
}

TEST_F(Quitting, AnEndingSessionWaitsAndTheApplicationGoesOnWithItUnlessItIsToQuit) {
  for (const bool quits : {false, true}) {
    QTimer::singleShot(0, [&] {
      if (quits) {
        requests.requestQuit();
      }
      EXPECT_EQ(ends, 0);
      desktop.links.back()->finishStop();
    });
    requests.prepareForSessionEnd();
    EXPECT_EQ(desktop.links.back()->stops, 1);
    EXPECT_EQ(ends, quits);
    if (!quits) {
      ASSERT_TRUE(test::eventually([&] { return desktop.links.size() == 2; }));
      EXPECT_TRUE(desktop.isConnected());
    }
  }
}

TEST_F(Quitting, AnEndingSessionIsNotHeldUpForEver) {
  QuitRequests impatient([] {}, {.sessionHold = 10ms, .sessionGoesOn = 1h});
  impatient.prepareForSessionEnd();
  EXPECT_EQ(goodbyes(), 1);
  EXPECT_TRUE(desktop.links[0]->finishStop);
}

}  // namespace
}  // namespace orvik
