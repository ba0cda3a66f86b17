// The relay client on manual time and scripted connections: every scenario is a timeline.

#include "tests/core/client/RelaySession.h"

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

TEST_F(RelaySession, SamplesGoOutAsPhonesComeLookAndGo) {
  struct Step {
    int viewers;
    int active;
    /// Passes after the presence, and what is sent meanwhile.
    std::chrono::milliseconds time;
    std::vector<std::string> sent;
  };
  const struct {
    std::chrono::seconds sampling;
    std::vector<Step> steps;
  } cases[] = {
      {0s, {{0, 0, 50s, {}}}},
      {0s, {{1, 0, 70s, {"0.2 full", "30.2 plain+history", "60 ping", "60.2 plain"}}}},
      // Looks away, which owes it nothing any more, and back.
      {0s,
       {{1, 0, 5050ms, {"0.2 full"}},
        {1, 1, 4s, {"5.2 plain+history", "7.2 plain"}},
        {1, 0, 1s, {}},
        {1, 1, 3s, {"10.2 plain", "12.2 plain"}}}},
      // A second phone; then the last one leaves, and whoever comes next is a new viewer.
      {0s,
       {{1, 1, 4s, {"0.2 full", "2.2 plain+history"}},
        {2, 2, 2500ms, {"4.2 full", "6.2 plain+history"}},
        {0, 0, 10s, {}},
        {1, 1, 1s, {"16.6 full"}}}},
      // A history that is owed is forgotten when the phone looks away.
      {0s, {{1, 1, 1s, {"0.2 full"}}, {1, 0, 31s, {"30.2 plain"}}}},
      {3s, {{1, 1, 10s, {"3.2 full", "8.2 plain+history"}}}},
  };
  for (const auto& [sampling, steps] : cases) {
    source->duration = sampling;
    connect();
    EXPECT_EQ(session->socket().url,
              "wss://relay.example/base/v1/mac/" + base64URL(pairing.macId()));
    for (const auto& [viewers, active, time, sent] : steps) {
      presence(viewers, active);
      clock->advance(time);
      EXPECT_EQ(takeTimeline(), sent) << viewers << " " << active;
    }
    stop();
  }
}

TEST_F(RelaySession, TheMachineIsDescribedAnewEveryTenMinutes) {
  connect();
  session->socket().onSend = [this](const std::string& text) {
    note(text);
    session->socket().says("pong");
  };
  presence(1, 0);
  clock->advance(640s);
  const auto sent = takeTimeline();
  EXPECT_EQ(std::ranges::count_if(sent, [](auto& line) { return line.ends_with("full"); }), 2);
  EXPECT_THAT(sent, testing::Contains("600.2 full"));
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

TEST_F(RelaySession, ADeadLinkIsFoundTwentySecondsAfterAPing) {
  for (const bool takesNothing : {false, true}) {
    connect();
    presence(0, 0);
    session->socket().sending =
        takesNothing ? ScriptedSocket::Behaviour::hangs : ScriptedSocket::Behaviour::works;
    clock->advance(61s);
    if (!takesNothing) {
      EXPECT_THAT(takeTimeline(), ElementsAre("60 ping"));
      // Anything after the ping proves the link alive, until the next one.
      session->socket().says("whatever", false);
      clock->advance(80s);
      EXPECT_THAT(takeTimeline(), ElementsAre("140 ping"));
    }
    takeStates();
    clock->advance(19s - 1ms);
    EXPECT_THAT(takeStates(), testing::IsEmpty());
    clock->advance(1ms);
    EXPECT_THAT(session->socket().closedWith, ElementsAre(closeCode::goingAway));
    EXPECT_THAT(takeStates(), ElementsAre(Waiting{1}));
    stop();
  }
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
  client->start();
  clock->advance(29s);
  client->start();
  EXPECT_EQ(source->checks.size(), 1U) << "what has begun is not begun again";
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
      source->duration = 3s;
      connect();
      if (connecting == Behaviour::works) {
        presence(1, 1);
        clock->advance(1s);
      }
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
      EXPECT_TRUE(takeTimeline().empty()) << "not even the sample that was being taken";
    }
  }
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
