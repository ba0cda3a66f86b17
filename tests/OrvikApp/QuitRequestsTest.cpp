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
  [[nodiscard]] test::FakeLink& link() const { return *desktop.links.back(); }

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
  const std::vector<int> numbers{SIGTERM, SIGTERM, SIGINT, SIGHUP};
  for (std::size_t sent = 0; sent < numbers.size(); ++sent) {
    kill(getpid(), numbers[sent]);
    ASSERT_TRUE(test::eventually([&] { return signals == static_cast<int>(sent) + 1; }));
  }
  QEvent quit(QEvent::Quit);
  QCoreApplication::sendEvent(qGuiApp, &quit);
  EXPECT_TRUE(quit.isAccepted());
  EXPECT_EQ(link().stops, 1);
  EXPECT_EQ(ends, 0);
  link().finishStop();
  EXPECT_EQ(ends, 1);
  QCoreApplication::sendEvent(qGuiApp, &quit);
  EXPECT_EQ(ends, 2);
}

TEST_F(Quitting, ASystemThatAsksWaitsForTheGoodbye) {
  int allowed = 0;
  requests.requestQuit();
  EXPECT_EQ(requests.answer([&] { ++allowed; }), TerminateReply::later);
  EXPECT_EQ(link().stops, 1);
  EXPECT_EQ(allowed + ends, 0);
  link().finishStop();
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
      link().finishStop();
    });
    requests.prepareForSessionEnd();
    EXPECT_EQ(link().stops, 1);
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
  EXPECT_EQ(link().stops, 1);
  EXPECT_TRUE(link().finishStop);
}

}  // namespace
}  // namespace orvik
