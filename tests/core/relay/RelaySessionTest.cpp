// The relay client on manual time and scripted connections: every scenario is a timeline.

#include "tests/core/relay/RelaySession.h"

namespace orvik {
namespace {

using relayState::Connecting;
using relayState::Online;
using relayState::Rejected;
using relayState::Stopped;
using relayState::Waiting;
using namespace std::chrono_literals;
using test::RelaySession;
using test::ScriptedSocket;
using testing::ElementsAre;

TEST_F(RelaySession, AnUnwatchedMachineTakesNoSamples) {
  connect();
  EXPECT_EQ(session->socket().url, "wss://relay.example/base/v1/mac/" + base64URL(pairing.macId));
  presence(0, 0);
  clock->advance(50s);
  EXPECT_EQ(source->taken, 0);
  EXPECT_THAT(takeStates(), ElementsAre(Connecting{}, Online{0}));
}

TEST_F(RelaySession, AWatchingPhoneGetsFullThenHistoryThenEveryHalfMinute) {
  connect();
  session->socket().onSend = [this](const std::string& text) {
    if (text == "ping") {
      session->socket().says("pong");
    } else {
      note(text);
    }
  };
  presence(1, 0);
  clock->advance(640s);
  std::vector<std::string> expected = {"0.2 full", "30.2 plain+history"};
  for (int second = 60; second < 600; second += 30) {
    expected.push_back(std::to_string(second) + ".2 plain");
  }
  expected.insert(expected.end(), {"600.2 full", "630.2 plain"});
  EXPECT_EQ(takeTimeline(), expected);
}

TEST_F(RelaySession, AnActivePhoneGetsASampleAtOnceThenEveryTwoSeconds) {
  connect();
  presence(1, 0);
  clock->advance(5s);
  EXPECT_THAT(takeTimeline(), ElementsAre("0.2 full"));
  clock->advance(50ms);
  presence(1, 1);
  clock->advance(4s);
  EXPECT_THAT(takeTimeline(), ElementsAre("5.2 plain+history", "7.2 plain"));
  // Looks away, which owes it nothing any more, and back.
  presence(1, 0);
  clock->advance(1s);
  presence(1, 1);
  clock->advance(3s);
  EXPECT_THAT(takeTimeline(), ElementsAre("10.2 plain", "12.2 plain"));
}

TEST_F(RelaySession, ASecondPhoneBringsFullThenHistory) {
  connect();
  presence(1, 1);
  clock->advance(4s);
  EXPECT_THAT(takeTimeline(), ElementsAre("0.2 full", "2.2 plain+history"));
  presence(2, 2);
  clock->advance(2500ms);
  EXPECT_THAT(takeTimeline(), ElementsAre("4.2 full", "6.2 plain+history"));
  // The last one leaves; whoever comes next is a new viewer.
  presence(0, 0);
  clock->advance(10s);
  presence(1, 1);
  clock->advance(1s);
  EXPECT_THAT(takeTimeline(), ElementsAre("16.6 full"));
}

TEST_F(RelaySession, AHistoryOwedIsForgottenWhenThePhoneLooksAway) {
  connect();
  presence(1, 1);
  clock->advance(1s);
  presence(1, 0);
  clock->advance(31s);
  EXPECT_THAT(takeTimeline(), ElementsAre("0.2 full", "30.2 plain"));
}

TEST_F(RelaySession, ASlowSourceDelaysTheNextSample) {
  source->duration = 3s;
  connect();
  presence(1, 1);
  clock->advance(10s);
  EXPECT_THAT(takeTimeline(), ElementsAre("3.2 full", "8.2 plain+history"));
}

TEST_F(RelaySession, NothingIsAttachedWhileThereIsNoHistory) {
  source->alertText = "not json";
  connect();
  presence(1, 1);
  clock->advance(3s);
  EXPECT_THAT(takeTimeline(), ElementsAre("0.2 full", "2.2 plain"));
  source->alertText = "[1]";
  clock->advance(30s);
  EXPECT_EQ(source->checks.size(), 2U);
}

TEST_F(RelaySession, InboundNoiseKeepsTheLinkAliveAndChangesNothing) {
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
  clock->settle();
  EXPECT_TRUE(takeStates().empty());
  clock->advance(20s);
  EXPECT_TRUE(takeTimeline().empty());
  // More active phones than viewers, and fewer than none.
  session->socket().says(R"({"viewers":1,"active":7,"more":[]})");
  clock->advance(1s);
  session->socket().says(R"({"viewers":0,"active":-5})");
  clock->advance(20s);
  EXPECT_THAT(takeStates(), ElementsAre(Online{1}, Online{0}));
  EXPECT_THAT(takeTimeline(), ElementsAre("21.2 plain+history"));
}

TEST_F(RelaySession, ASilentLinkIsFoundDeadAfterEightySeconds) {
  connect();
  presence(0, 0);
  clock->advance(79999ms);
  EXPECT_THAT(takeTimeline(), ElementsAre("60 ping"));
  EXPECT_EQ(session->sockets.size(), 1U);
  takeStates();
  clock->advance(1ms);
  EXPECT_THAT(session->socket().closedWith, ElementsAre(closeCode::goingAway));
  EXPECT_THAT(takeStates(), ElementsAre(Waiting{1}));
}

TEST_F(RelaySession, AnythingAfterThePingProvesTheLinkAlive) {
  connect();
  presence(0, 0);
  clock->advance(61s);
  session->socket().says("whatever", false);
  clock->advance(78s);
  EXPECT_THAT(takeTimeline(), ElementsAre("60 ping"));
  clock->advance(2s);
  EXPECT_THAT(takeTimeline(), ElementsAre("140 ping"));
}

TEST_F(RelaySession, ALinkThatTakesNothingIsFoundDeadToo) {
  connect();
  presence(0, 0);
  session->socket().sending = ScriptedSocket::Behaviour::hangs;
  clock->advance(79s);
  takeStates();
  clock->advance(1s);
  EXPECT_THAT(takeStates(), ElementsAre(Waiting{1}));
}

TEST_F(RelaySession, WaitsDoubleUntilAMinuteAndStartAgainAfterAcceptance) {
  prepare = [](ScriptedSocket& socket) { socket.connecting = ScriptedSocket::Behaviour::fails; };
  client->start();
  std::vector<RelayState> expected;
  for (const std::int64_t wait : {1, 2, 4, 8, 16, 32, 60, 60}) {
    expected.insert(expected.end(), {Connecting{}, Waiting{wait}});
    clock->settle();
    clock->advance(std::chrono::seconds(wait) - 1ms);
    EXPECT_EQ(states, expected);
    if (wait == 60 && expected.size() == 16) {
      prepare = nullptr;
    }
    clock->advance(1ms);
  }
  takeStates();
  presence(2, 0);
  prepare = [](ScriptedSocket& socket) { socket.connecting = ScriptedSocket::Behaviour::fails; };
  session->socket().ends();
  clock->advance(3s);
  EXPECT_THAT(takeStates(), ElementsAre(Online{2}, Waiting{1}, Connecting{}, Waiting{2},
                                        Connecting{}, Waiting{4}));
}

TEST_F(RelaySession, ARejectedPairingIsNotTriedAgainUntilStarted) {
  connect();
  session->socket().ends(closeCode::pairingRejected);
  clock->advance(300s);
  EXPECT_THAT(takeStates(), ElementsAre(Connecting{}, Rejected{}));
  EXPECT_EQ(session->sockets.size(), 1U);
  const std::size_t checks = source->checks.size();
  client->start();
  clock->advance(30s);
  EXPECT_EQ(session->sockets.size(), 2U);
  // The task that watches the machine went on, and there is still one of it.
  EXPECT_EQ(source->checks.size(), checks + 1);
}

TEST_F(RelaySession, StartingTwiceConnectsOnce) {
  client->start();
  client->start();
  clock->advance(29s);
  client->start();
  clock->settle();
  EXPECT_EQ(session->sockets.size(), 1U);
  EXPECT_EQ(source->checks.size(), 1U);
  clock->advance(1s);
  EXPECT_EQ(source->checks.size(), 2U);
}

TEST_F(RelaySession, StoppingEndsEverythingInEveryState) {
  using Behaviour = ScriptedSocket::Behaviour;
  stop();
  EXPECT_THAT(takeStates(), ElementsAre(Stopped{}));
  for (const bool acknowledges : {true, false}) {
    for (const auto& [connecting, sending] : {std::pair{Behaviour::works, Behaviour::works},
                                              {Behaviour::hangs, Behaviour::works},
                                              {Behaviour::fails, Behaviour::works},
                                              {Behaviour::works, Behaviour::hangs}}) {
      prepare = [&](ScriptedSocket& socket) {
        socket.acknowledgesClose = acknowledges;
        socket.connecting = connecting;
        socket.sending = sending;
      };
      connect();
      const bool hasSocket = connecting != Behaviour::fails;
      takeStates();
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
      EXPECT_TRUE(source->checks.empty());
      EXPECT_TRUE(takeStates().empty());
    }
  }
}

TEST_F(RelaySession, AStopDuringASampleSendsNothingMore) {
  source->duration = 3s;
  connect();
  presence(1, 1);
  clock->advance(1s);
  stop();
  clock->advance(10s);
  EXPECT_TRUE(takeTimeline().empty());
}

TEST(Adding, PutsOneMemberAtTheEnd) {
  const struct {
    const char* data;
    const char* result;
  } cases[] = {{R"({"a":1})", R"({"a":1,"k\"":[1,null]})"},
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
