#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <gmock/gmock.h>

#include "core/values/Base64URL.h"
#include "phone/PhoneClient.h"
#include "tests/support/ManualClock.h"
#include "tests/support/ScriptedSocket.h"

namespace orvik {
namespace {

using std::chrono::seconds;
using test::ScriptedSocket;
using testing::ElementsAre;
using testing::IsEmpty;

/// Writes down everything that it is told.
class Diary final : public PhoneObserver {
 public:
  void connectionChanged(const ConnectionState& state) override {
    entries.push_back(description(state));
  }
  bool opened(const Payload& payload) override {
    entries.push_back(static_cast<char>(payload.kind) + (":" + payload.text));
    return --wanted > 0;
  }
  void unreadable() override { entries.emplace_back("unreadable"); }

  /// What was written since the last call.
  std::vector<std::string> take() { return std::exchange(entries, {}); }

  int wanted = 1000;

 private:
  std::vector<std::string> entries;
};

/// A client that runs, with scripted connections and time that stands still.
class PhoneClientTest : public testing::Test {
 protected:
  ~PhoneClientTest() override {
    cancel();
    clock->settle();
  }

  void start() {
    asio::co_spawn(context, client.run(),
                   asio::bind_cancellation_slot(cancellation.slot(),
                                                [this](const std::exception_ptr&,
                                                       PhoneClient::End result) { end = result; }));
    clock->settle();
  }
  void cancel() { cancellation.emit(asio::cancellation_type::terminal); }
  void stop() {
    asio::co_spawn(context, client.stop(), [this](const std::exception_ptr&) { isStopped = true; });
    clock->settle();
  }
  void says(std::string text, bool isText = true) {
    socket().says(std::move(text), isText);
    clock->settle();
  }
  ScriptedSocket& socket() { return session->socket(); }

  asio::io_context context;
  std::shared_ptr<test::ManualClock> clock = std::make_shared<test::ManualClock>(context);
  std::shared_ptr<test::ScriptedSession> session = std::make_shared<test::ScriptedSession>();
  asio::cancellation_signal cancellation;
  const Pairing pairing = Pairing::generate();
  Diary diary;
  PhoneClient client{pairing, "wss://relay.example/at/home/", session, clock, diary};
  std::optional<PhoneClient::End> end;
  bool isStopped = false;
};

TEST_F(PhoneClientTest, IntroducesItselfAndOpensWhatIsSealedForIt) {
  start();
  EXPECT_EQ(socket().url, "wss://relay.example/at/home/v1/phone/" + base64URL(pairing.macId));
  const std::string token = base64URL(pairing.authKey().data());
  EXPECT_THAT(socket().sent, ElementsAre("{\"auth\":\"" + token + "\"}", "{\"active\":true}"));
  EXPECT_THAT(diary.take(), ElementsAre("connecting…", "waiting for the computer…"));

  const auto seal = [this](const char* text, Envelope::Kind kind) {
    return Envelope::seal(text, kind, pairing);
  };
  says(R"({"mac":false})");
  says(R"({"mac":true,"later":1})");
  says(seal(R"({"epoch":1})", Envelope::Kind::sample));
  says(seal(R"({"kind":"disk_full"})", Envelope::Kind::alert));
  says("pong");
  says(seal("{}", Envelope::Kind::sample), false);
  EXPECT_THAT(diary.take(), ElementsAre("computer offline", "live", R"(s:{"epoch":1})",
                                        R"(a:{"kind":"disk_full"})"));

  const std::string foreign = Envelope::seal("{}", Envelope::Kind::sample, Pairing::generate());
  const std::vector<std::string> unreadable = {foreign,
                                               "",
                                               "{",
                                               "[]",
                                               "null",
                                               R"({"mac":1})",
                                               R"({"v":1})",
                                               "\xFF",
                                               seal("[1]", Envelope::Kind::sample),
                                               seal("no JSON", Envelope::Kind::sample)};
  for (const std::string& message : unreadable) {
    says(message);
    EXPECT_THAT(diary.take(), ElementsAre("unreadable")) << message;
  }

  diary.wanted = 1;
  says(seal("{}", Envelope::Kind::sample));
  EXPECT_EQ(end, PhoneClient::End::finished);
  stop();
  EXPECT_TRUE(isStopped);
  EXPECT_THAT(socket().closedWith, ElementsAre(closeCode::normal));
}

TEST_F(PhoneClientTest, WaitsLongerAfterEveryFailureAndShortlyAfterAnAcceptedConnection) {
  session->onNew = [](ScriptedSocket& fresh) {
    fresh.connecting = ScriptedSocket::Behaviour::fails;
  };
  start();
  for (const int wait : {1, 2, 4, 8, 16, 32, 60, 60}) {
    const std::string text =
        "offline, next attempt after " + std::to_string(wait) + " s (Connection reset by peer)";
    EXPECT_THAT(diary.take(), ElementsAre("connecting…", text));
    clock->advance(seconds(wait) - std::chrono::milliseconds(1));
    EXPECT_THAT(diary.take(), IsEmpty());
    if (wait == 60) {
      session->onNew = nullptr;
    }
    clock->advance(std::chrono::milliseconds(1));
    if (wait == 60) {
      break;
    }
  }
  says(R"({"mac":true})");
  EXPECT_THAT(diary.take(), ElementsAre("connecting…", "waiting for the computer…", "live"));
  socket().ends(1013);
  clock->settle();
  EXPECT_THAT(diary.take(), ElementsAre("offline, next attempt after 1 s (the relay asks to come "
                                        "back later)"));
  clock->advance(seconds(1));
  EXPECT_THAT(diary.take(), ElementsAre("connecting…", "waiting for the computer…"));
  socket().ends(1001);
  clock->settle();
  EXPECT_THAT(diary.take(),
              ElementsAre("offline, next attempt after 2 s (closed by the relay, code 1001)"));
}

TEST_F(PhoneClientTest, GivesUpALinkOnWhichNothingArrivesAfterAPing) {
  start();
  // Pings go out after 30, 60, 90 … seconds; whatever arrives in the 20 seconds after one is an
  // answer to it.
  clock->advance(seconds(31));
  EXPECT_EQ(socket().sent.back(), "ping");
  says("binary", false);
  clock->advance(seconds(48));
  EXPECT_EQ(socket().sent.size(), 4U);
  says("pong");
  diary.take();
  clock->advance(seconds(30));
  EXPECT_EQ(socket().sent.size(), 5U);
  EXPECT_THAT(diary.take(), IsEmpty());
  clock->advance(seconds(1));
  EXPECT_THAT(diary.take(), ElementsAre("offline, next attempt after 1 s (Connection timed out)"));
  EXPECT_THAT(socket().closedWith, ElementsAre(closeCode::goingAway));
}

TEST_F(PhoneClientTest, GivesUpALinkThatTakesNoMessage) {
  start();
  diary.take();
  socket().sending = ScriptedSocket::Behaviour::hangs;
  session->onNew = [](ScriptedSocket& fresh) { fresh.sending = ScriptedSocket::Behaviour::hangs; };
  clock->advance(seconds(30 + 20));
  EXPECT_THAT(diary.take(), ElementsAre("offline, next attempt after 1 s (Connection timed out)"));
  clock->advance(seconds(1 + 20));
  EXPECT_THAT(diary.take(),
              ElementsAre("connecting…", "offline, next attempt after 2 s (Connection timed out)"));
}

TEST_F(PhoneClientTest, NeverComesBackAfterARejection) {
  start();
  diary.take();
  socket().ends(closeCode::pairingRejected);
  clock->advance(seconds(600));
  EXPECT_EQ(end, PhoneClient::End::rejected);
  EXPECT_EQ(session->sockets.size(), 1U);
  EXPECT_THAT(diary.take(), IsEmpty());
}

TEST_F(PhoneClientTest, LeavesWithinTwoSecondsWhatTheRelayNeverCloses) {
  session->onNew = [](ScriptedSocket& fresh) { fresh.acknowledgesClose = false; };
  start();
  cancel();
  stop();
  clock->advance(std::chrono::milliseconds(1999));
  EXPECT_FALSE(isStopped);
  clock->advance(std::chrono::milliseconds(1));
  EXPECT_TRUE(isStopped);
}

using Behaviour = ScriptedSocket::Behaviour;
struct Moment {
  const char* name;
  Behaviour connecting;
  Behaviour sending;
  std::vector<std::uint16_t> closedWith;
};

class PhoneClientCancelled : public PhoneClientTest, public testing::WithParamInterface<Moment> {};

TEST_P(PhoneClientCancelled, EndsAtOnce) {
  session->onNew = [](ScriptedSocket& fresh) {
    fresh.connecting = GetParam().connecting;
    fresh.sending = GetParam().sending;
  };
  start();
  diary.take();
  cancel();
  clock->settle();
  EXPECT_EQ(end, PhoneClient::End::finished);
  stop();
  EXPECT_TRUE(isStopped);
  EXPECT_EQ(socket().closedWith, GetParam().closedWith);
  EXPECT_THAT(diary.take(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Moments, PhoneClientCancelled,
    testing::Values(Moment{"Connecting", Behaviour::hangs, Behaviour::works, {1000}},
                    Moment{"Sending", Behaviour::works, Behaviour::hangs, {1000}},
                    Moment{"Receiving", Behaviour::works, Behaviour::works, {1000}},
                    Moment{"BetweenAttempts", Behaviour::fails, Behaviour::works, {1001}}),
    [](const testing::TestParamInfo<Moment>& moment) { return moment.param.name; });

}  // namespace
}  // namespace orvik
