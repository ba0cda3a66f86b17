// The relay client on manual time and scripted connections: every scenario is a timeline.

#include "tests/core/client/RelayClientFixture.h"

namespace orvik {
namespace {

using relayState::Connecting;
using relayState::Online;
using relayState::Rejected;
using relayState::Stopped;
using relayState::Waiting;
using namespace std::chrono_literals;
using test::RelayClientFixture;
using test::ScriptedSocket;
using testing::ElementsAre;
using testing::IsEmpty;
using Behaviour = ScriptedSocket::Behaviour;

TEST_F(RelayClientFixture, SamplesGoOutAsPhonesComeLookAndGo) {
  const struct {
    int viewers;
    int active;
    /// Passes after the presence, and what is sent meanwhile.
    std::chrono::milliseconds time;
    std::vector<std::string> sent;
  } steps[] = {{0, 0, 20s, {}},
               {1, 0, 32s, {"20.2 full", "50.2 plain+history"}},
               {1, 1, 4s, {"52.2 plain", "54.2 plain"}},
               {1, 0, 1s, {}},
               {1, 1, 1s, {"57.2 plain"}},
               {0, 0, 10s, {"60 ping"}},
               {1, 1, 1s, {"68.2 full"}}};
  connect();
  EXPECT_EQ(session->socket().url, "wss://relay.example/base/v1/mac/" + base64URL(pairing.macId()));
  for (const auto& [viewers, active, time, sent] : steps) {
    presence(viewers, active);
    clock->advance(time);
    EXPECT_EQ(takeTimeline(), sent) << viewers << " " << active;
  }
  stop();
  // Whoever is slow to tell is asked again 2 s after that.
  source->duration = 3s;
  connect();
  presence(1, 1);
  clock->advance(10s);
  EXPECT_THAT(takeTimeline(), ElementsAre("3.2 full", "8.2 plain+history"));
}

TEST_F(RelayClientFixture, NothingIsAttachedWhileThereIsNoHistory) {
  source->alertText = "not json";
  connect();
  presence(1, 1);
  clock->advance(3s);
  EXPECT_THAT(takeTimeline(), ElementsAre("0.2 full", "2.2 plain"));
  source->alertText = "[1]";
  clock->advance(30s);
  EXPECT_EQ(source->checks.size(), 2U);
}

TEST_F(RelayClientFixture, InboundNoiseChangesNothing) {
  connect();
  presence(1, 0);
  clock->advance(1s);
  takeTimeline();
  takeStates();
  for (const char* noise :
       {"pong", "", "{", "[1]", "3", R"({"active":5})", R"({"viewers":"2"})", R"({"viewers":2.0})",
        R"({"viewers":true})", R"({"viewers":null})", R"({"viewers":-4})",
        R"({"viewers":99999999999999999999})", R"({"viewers":18446744073709551615})"}) {
    session->socket().says(noise);
  }
  session->socket().says(R"({"viewers":3})", false);
  session->socket().says(std::string(60'000, '['));
  clock->advance(20s);
  EXPECT_THAT(takeStates(), IsEmpty());
  EXPECT_THAT(takeTimeline(), IsEmpty());
  // More active phones than viewers, and fewer than none.
  session->socket().says(R"({"viewers":1,"active":7,"more":[]})");
  clock->advance(1s);
  session->socket().says(R"({"viewers":0,"active":-5})");
  clock->advance(20s);
  EXPECT_THAT(takeStates(), ElementsAre(Online{1}, Online{0}));
  EXPECT_THAT(takeTimeline(), ElementsAre("21.2 plain+history"));
}

TEST_F(RelayClientFixture, ALinkIsDeadWhenNothingArrives) {
  const struct {
    const char* link;
    /// Takes no message from the first second to this one; 0 when it always does.
    int takesAgain;
    /// When something arrives.
    std::vector<int> arrivals;
    std::vector<std::string> sent;
    int deadAt;
  } cases[] = {{"silent", 0, {59}, {"60 ping"}, 80},
               {"noisy", 0, {60, 141}, {"60 ping", "140 ping", "220 ping"}, 240},
               {"takes and brings nothing", 999, {59}, {}, 80},
               {"slow to take", 100, {65, 101}, {"100 ping", "180 ping"}, 200},
               {"slow to take, then silent", 100, {65}, {"100 ping"}, 120},
               {"takes nothing any more", 999, {65, 150}, {}, 240}};
  for (const auto& [link, takesAgain, arrivals, sent, deadAt] : cases) {
    connect();
    presence(0, 0);
    takeStates();
    for (int second = 0; second < deadAt; ++second) {
      if (takesAgain > 0) {
        session->socket().sending =
            second > 0 && second < takesAgain ? Behaviour::hangs : Behaviour::works;
      }
      if (second == takesAgain) {
        session->socket().release();
      }
      if (std::ranges::count(arrivals, second) > 0) {
        session->socket().says("whatever", false);
      }
      EXPECT_THAT(takeStates(), IsEmpty()) << link << " " << second;
      clock->advance(1s);
    }
    EXPECT_EQ(takeTimeline(), sent) << link;
    EXPECT_THAT(session->socket().closedWith, ElementsAre(closeCode::goingAway)) << link;
    EXPECT_THAT(takeStates(), ElementsAre(Waiting{1})) << link;
    stop();
  }
}

TEST_F(RelayClientFixture, WaitsLongerAndLongerUntilItIsAccepted) {
  const auto fail = [](ScriptedSocket& socket) { socket.connecting = Behaviour::fails; };
  prepare = fail;
  client->start();
  clock->advance(1s + 2s + 4s - 1ms);
  EXPECT_THAT(takeStates(), ElementsAre(Connecting{}, Waiting{1}, Connecting{}, Waiting{2},
                                        Connecting{}, Waiting{4}));
  prepare = nullptr;
  clock->advance(1ms);
  presence(2, 0);
  prepare = fail;
  session->socket().ends();
  clock->advance(3s);
  EXPECT_THAT(takeStates(), ElementsAre(Connecting{}, Online{2}, Waiting{1}, Connecting{},
                                        Waiting{2}, Connecting{}, Waiting{4}));
}

TEST_F(RelayClientFixture, ARejectedPairingIsNotTriedAgainUntilStarted) {
  connect();
  client->start();
  clock->advance(29s);
  client->start();
  EXPECT_EQ(source->checks.size(), 1U) << "what has begun is not begun again";
  session->socket().ends(closeCode::pairingRejected);
  clock->advance(300s);
  EXPECT_THAT(takeStates(), ElementsAre(Connecting{}, Rejected{}));
  EXPECT_EQ(session->sockets.size(), 1U);
  const std::size_t checks = source->checks.size();
  // Whoever is told may start it at once, and hears no more of the first start.
  onState = [this](const RelayState& state) {
    if (state == RelayState(Connecting{}) || state == RelayState(Rejected{})) {
      client->start();
    }
  };
  client->start();
  clock->advance(1s);
  session->socket().ends(closeCode::pairingRejected);
  clock->advance(29s);
  onState = nullptr;
  EXPECT_THAT(takeStates(), ElementsAre(Connecting{}, Rejected{}, Connecting{}));
  EXPECT_EQ(session->sockets.size(), 3U);
  EXPECT_EQ(source->checks.size(), checks + 1) << "one task watches the machine";
}

TEST_F(RelayClientFixture, StoppingEndsEverythingInEveryState) {
  stop();
  EXPECT_THAT(takeStates(), ElementsAre(Stopped{}));
  const struct {
    Behaviour connecting = Behaviour::works;
    Behaviour sending = Behaviour::works;
    bool isRejected = false;
  } moments[] = {{},
                 {Behaviour::hangs},
                 {Behaviour::fails},
                 {.sending = Behaviour::hangs},
                 {.isRejected = true}};
  for (const bool acknowledges : {true, false}) {
    for (const auto& [connecting, sending, isRejected] : moments) {
      prepare = [&](ScriptedSocket& socket) {
        socket.acknowledgesClose = acknowledges;
        socket.connecting = connecting;
        socket.sending = sending;
      };
      source->duration = 3s;
      connect();
      if (connecting == Behaviour::works) {
        presence(1, 1);
        clock->advance(1s);
      }
      const bool hasSocket = connecting != Behaviour::fails;
      takeStates();
      if (isRejected) {
        session->socket().ends(closeCode::pairingRejected);
      }
      const Instant before = clock->now();
      stop();
      EXPECT_EQ(clock->now() - before, acknowledges || !hasSocket ? 0s : 2s);
      EXPECT_THAT(takeStates(), ElementsAre(Stopped{}));
      const std::size_t count = session->sockets.size();
      if (hasSocket) {
        EXPECT_THAT(session->socket().closedWith, ElementsAre(closeCode::normal));
        // An acknowledgement that comes too late finds nobody waiting.
        session->socket().ends();
      }
      source->checks.clear();
      clock->advance(120s);
      EXPECT_EQ(session->sockets.size(), count);
      EXPECT_THAT(source->checks, IsEmpty());
      EXPECT_THAT(takeStates(), IsEmpty());
      EXPECT_THAT(takeTimeline(), IsEmpty()) << "not even the sample that was being taken";
    }
  }
}

TEST_F(RelayClientFixture, StartedWhileItSaysGoodbyeItRuns) {
  prepare = [](ScriptedSocket& socket) { socket.acknowledgesClose = false; };
  connect();
  presence(1, 0);
  takeStates();
  beginToStop();
  client->start();
  clock->advance(1s);
  presence(2, 0);
  clock->advance(1s);
  EXPECT_TRUE(stopped);
  EXPECT_THAT(takeStates(), ElementsAre(Connecting{}, Online{2}));
  EXPECT_THAT(session->socket().closedWith, IsEmpty());
  EXPECT_THAT(takeTimeline(), ElementsAre("0 auth", "1.2 full"));
  stop();
  EXPECT_THAT(takeStates(), ElementsAre(Stopped{}));
}

TEST(Adding, PutsOneMemberAtTheEnd) {
  const std::pair<const char*, const char*> cases[] = {{R"({"a":1})", R"({"a":1,"k\"":[1,null]})"},
                                                       {"{}", "{}"},
                                                       {"", ""},
                                                       {"}", "}"},
                                                       {"{\"a\":1}\n", "{\"a\":1}\n"}};
  const JSONValue value = JSONValue::Array{1, nullptr};
  for (const auto& [data, result] : cases) {
    EXPECT_EQ(RelayClient::adding("k\"", value, data), result);
  }
}

}  // namespace
}  // namespace orvik
