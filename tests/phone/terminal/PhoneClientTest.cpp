#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <gmock/gmock.h>

#include "core/values/Base64.h"
#include "phone/terminal/PhoneClient.h"
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
    isStopped = false;
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
  EXPECT_EQ(socket().url, "wss://relay.example/at/home/v1/phone/" + base64URL(pairing.macId()));
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

TEST_F(PhoneClientTest, SaysWhyItComesBackLaterOrNever) {
  session->onNew = [](ScriptedSocket& fresh) {
    fresh.connecting = ScriptedSocket::Behaviour::fails;
  };
  start();
  clock->advance(seconds(1));
  session->onNew = nullptr;
  clock->advance(seconds(2));
  EXPECT_THAT(
      diary.take(),
      ElementsAre("connecting…", "offline, next attempt after 1 s (Connection reset by peer)",
                  "connecting…", "offline, next attempt after 2 s (Connection reset by peer)",
                  "connecting…", "waiting for the computer…"));
  says(R"({"mac":true})");
  socket().ends(1013);
  clock->settle();
  EXPECT_THAT(diary.take(), ElementsAre("live",
                                        "offline, next attempt after 1 s (the relay asks to come "
                                        "back later)"));
  clock->advance(seconds(1));
  EXPECT_THAT(diary.take(), ElementsAre("connecting…", "waiting for the computer…"));
  socket().ends(1001);
  clock->settle();
  EXPECT_THAT(diary.take(),
              ElementsAre("offline, next attempt after 2 s (closed by the relay, code 1001)"));
  clock->advance(seconds(2));
  diary.take();
  socket().ends(closeCode::pairingRejected);
  clock->advance(seconds(600));
  EXPECT_EQ(end, PhoneClient::End::rejected);
  EXPECT_EQ(session->sockets.size(), 5U);
  EXPECT_THAT(diary.take(), IsEmpty());
}

TEST_F(PhoneClientTest, GivesUpADeadLink) {
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
  // The next link takes no message at all.
  session->onNew = [](ScriptedSocket& fresh) { fresh.sending = ScriptedSocket::Behaviour::hangs; };
  clock->advance(seconds(1));
  EXPECT_THAT(diary.take(), ElementsAre("offline, next attempt after 1 s (Connection timed out)"));
  EXPECT_THAT(socket().closedWith, ElementsAre(closeCode::goingAway));
  clock->advance(seconds(1 + 20));
  EXPECT_THAT(diary.take(),
              ElementsAre("connecting…", "offline, next attempt after 2 s (Connection timed out)"));
  // And one that stops taking them.
  session->onNew = nullptr;
  clock->advance(seconds(2));
  socket().sending = ScriptedSocket::Behaviour::hangs;
  clock->advance(seconds(30 + 20));
  EXPECT_EQ(diary.take().back(), "offline, next attempt after 4 s (Connection timed out)");
}

TEST_F(PhoneClientTest, EndsAtOnceAndLeavesWithinTwoSeconds) {
  using Behaviour = ScriptedSocket::Behaviour;
  const struct {
    Behaviour connecting;
    Behaviour sending;
    bool acknowledges;
    std::uint16_t closedWith;
  } moments[] = {{Behaviour::hangs, Behaviour::works, true, 1000},
                 {Behaviour::works, Behaviour::hangs, true, 1000},
                 {Behaviour::works, Behaviour::works, true, 1000},
                 {Behaviour::works, Behaviour::works, false, 1000},
                 {Behaviour::fails, Behaviour::works, true, 1001}};
  for (const auto& moment : moments) {
    session->onNew = [&](ScriptedSocket& fresh) {
      fresh.connecting = moment.connecting;
      fresh.sending = moment.sending;
      fresh.acknowledgesClose = moment.acknowledges;
    };
    end.reset();
    start();
    diary.take();
    cancel();
    clock->settle();
    EXPECT_EQ(end, PhoneClient::End::finished);
    stop();
    if (!moment.acknowledges) {
      clock->advance(std::chrono::milliseconds(1999));
      EXPECT_FALSE(isStopped);
      clock->advance(std::chrono::milliseconds(1));
    }
    EXPECT_TRUE(isStopped);
    EXPECT_THAT(socket().closedWith, ElementsAre(moment.closedWith));
    EXPECT_THAT(diary.take(), IsEmpty());
  }
}

}  // namespace
}  // namespace orvik
