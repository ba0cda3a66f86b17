#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <QDBusConnectionInterface>
#include <QDBusUnixFileDescriptor>
#include <QDBusVirtualObject>

#include "OrvikApp/platform/linux/LogindPowerEvents.h"
#include "tests/support/BusDaemon.h"
#include "tests/support/EventLoop.h"

namespace orvik {
namespace {

using test::eventually;

const QString path = QStringLiteral("/org/freedesktop/login1");
const QString name = QStringLiteral("org.freedesktop.login1");

/// A program's own connection to the bus.
struct Connection {
  explicit Connection(const test::BusDaemon& daemon)
      : bus(QDBusConnection::connectToBus(QString::fromStdString(daemon.address), label)) {}
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() { QDBusConnection::disconnectFromBus(label); }

  void announceSleep(bool isBeginning) const {
    bus.send(QDBusMessage::createSignal(path, name + QStringLiteral(".Manager"),
                                        QStringLiteral("PrepareForSleep"))
             << isBeginning);
    // Once the bus has answered this it has passed on the signal.
    static_cast<void>(bus.interface()->isServiceRegistered(name).value());
  }

  const QString label = QString::number(reinterpret_cast<quintptr>(this));
  QDBusConnection bus;
};

/// logind as far as it is asked: gives locks, and knows which of them are held.
class MockLogind : public Connection, private QDBusVirtualObject {
 public:
  explicit MockLogind(const test::BusDaemon& daemon, bool refuses = false)
      : Connection(daemon), refuses(refuses) {
    EXPECT_TRUE(bus.registerVirtualObject(path, this));
    EXPECT_TRUE(bus.registerService(name));
  }

  /// How many of the locks given so far are held: somebody has the other end of the pipe.
  std::ptrdiff_t held() {
    return std::ranges::count_if(locks, [](const FileDescriptor& lock) {
      pollfd state{.fd = lock.get(), .events = POLLIN, .revents = 0};
      return poll(&state, 1, 0) == 0;
    });
  }

  std::vector<FileDescriptor> locks;
  int asked = 0;

 private:
  [[nodiscard]] QString introspect(const QString& /*path*/) const override { return {}; }

  bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
    ++asked;
    if (refuses) {
      return connection.send(message.createErrorReply(QDBusError::AccessDenied, name));
    }
    std::array<int, 2> pipe{};
    EXPECT_EQ(pipe2(pipe.data(), O_CLOEXEC), 0);
    locks.emplace_back(pipe[0]);
    QDBusUnixFileDescriptor end;
    end.giveFileDescriptor(pipe[1]);
    return connection.send(message.createReply(QVariant::fromValue(end)));
  }

  const bool refuses;
};

/// What an application hears, and the last hold that it was given.
struct Listener {
  explicit Listener(const QDBusConnection& bus) : events(bus) {
    // Letting go of the registration does not end it.
    static_cast<void>(events.onWillSleep([this](const PowerEvents::SleepHold& given) {
      heard += "sleep ";
      hold = given;
    }));
    static_cast<void>(events.onDidWake([this] { heard += "wake "; }));
  }

  [[nodiscard]] bool hears(const std::string& what) {
    return eventually([&] { return heard == what; }) && !std::exchange(heard, "").empty();
  }

  LogindPowerEvents events;
  std::string heard;
  PowerEvents::SleepHold hold;
};

struct LogindPowerEventsTest : testing::Test {
  const test::BusDaemon daemon;
  Connection ours{daemon};
};

TEST_F(LogindPowerEventsTest, SleepWaitsForTheLastHolderAndOnlyLogindIsBelieved) {
  const Connection stranger(daemon);
  Listener listener(ours.bus);
  stranger.announceSleep(true);
  MockLogind logind(daemon);
  ASSERT_TRUE(eventually([&] { return logind.held() == 1; }));
  stranger.announceSleep(true);
  for (int night = 1; night <= 2; ++night) {
    logind.announceSleep(true);
    ASSERT_TRUE(listener.hears("sleep "));
    EXPECT_EQ(logind.held(), 1);
    listener.hold.reset();
    EXPECT_EQ(logind.held(), 0);
    // Twice the same: there is nothing left to hold with, but those who listen hear it.
    logind.announceSleep(true);
    ASSERT_TRUE(listener.hears("sleep "));
    EXPECT_EQ(listener.hold, nullptr);
    logind.announceSleep(false);
    ASSERT_TRUE(listener.hears("wake "));
    ASSERT_TRUE(eventually([&] { return logind.held() == 1; }));
    EXPECT_EQ(logind.asked, night + 1);
  }
}

TEST_F(LogindPowerEventsTest, ALogindThatStartsAnewIsFollowedAlsoWhenItGivesNoLock) {
  Listener listener(ours.bus);
  for (const bool refuses : {false, true}) {
    auto logind = std::make_unique<MockLogind>(daemon, refuses);
    // A refusal is on its way before the signal.
    ASSERT_TRUE(eventually([&] { return logind->asked == 1 && logind->held() == int{!refuses}; }));
    logind->announceSleep(true);
    ASSERT_TRUE(listener.hears("sleep "));
    EXPECT_EQ(listener.hold == nullptr, refuses);
    logind.reset();
    // Nobody else will say that the machine is awake.
    ASSERT_TRUE(listener.hears("wake "));
  }
}

TEST_F(LogindPowerEventsTest, NothingIsLeftOfOneThatGoes) {
  MockLogind logind(daemon);
  const Listener withoutBus{QDBusConnection(QStringLiteral("no such connection"))};
  // Its question is under way.
  std::make_unique<Listener>(ours.bus).reset();
  ASSERT_TRUE(eventually([&] { return logind.asked == 1 && logind.held() == 0; }));
}

}  // namespace
}  // namespace orvik
