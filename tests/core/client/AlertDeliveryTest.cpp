// Alerts on their way from the machine to the relay.

#include "tests/core/client/RelayClientFixture.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using test::ScriptedSocket;
using testing::ElementsAre;
using testing::IsEmpty;
using Behaviour = ScriptedSocket::Behaviour;

/// Alerts are told apart by their values; the machine's own have none, which counts as 0.
class AlertDelivery : public test::RelayClientFixture {
 protected:
  AlertDelivery() {
    prepare = [this](ScriptedSocket& socket) {
      socket.onSend = [this, &socket](const std::string& text) {
        if (text == "ping") {
          socket.says("pong");
        }
        noteAlert(text);
      };
    };
    isOnMains(true);
    client->start();
    clock->settle();
  }

  /// A change is always an alert, with the next check.
  void isOnMains(bool onMains) {
    source->alertText = R"({"epoch":)" + std::to_string(epochSeconds(clock->unixNow())) +
                        R"(,"on_ac":)" + (onMains ? "true" : "false") + "}";
  }
  Alert alertNow(double value) {
    return {.kind = Alert::Kind::diskFull,
            .state = Alert::State::raised,
            .value = value,
            .epochMs = epochMilliseconds(clock->unixNow())};
  }
  void queue(double value) { alerts->append(alertNow(value)); }
  void emit(double value) {
    asio::co_spawn(context, client->emitForTesting(alertNow(value)),
                   [this](const std::exception_ptr&) { ++emitted; });
    clock->settle();
  }
  void noteAlert(const std::string& text) {
    if (text.starts_with(R"({"c")")) {
      const auto opened = Envelope::open(text, pairing);
      EXPECT_EQ(opened.kind, Envelope::Kind::alert);
      const auto alert = Alert::from(JSONValue::any(readJSON(opened.plaintext)));
      ASSERT_TRUE(alert.has_value());
      arrived.push_back(alert->value.value_or(0));
    }
  }
  /// A new connection in place of the last one, which ends.
  void reconnect() {
    session->socket().ends();
    clock->advance(1s);
  }
  std::vector<double> takeArrived() { return std::exchange(arrived, {}); }

  std::vector<double> arrived;
  int emitted = 0;
};

TEST_F(AlertDelivery, WhatIsRaisedOfflineGoesOutWithTheFirstPresenceOnce) {
  isOnMains(false);
  clock->advance(30s);
  queue(1);
  EXPECT_THAT(takeArrived(), IsEmpty());
  presence(0, 0);
  EXPECT_THAT(takeArrived(), ElementsAre(0, 1));
  presence(1, 0);
  reconnect();
  queue(2);
  clock->advance(1ms);
  queue(3);
  clock->advance(1h);
  presence(0, 0);
  EXPECT_THAT(takeArrived(), ElementsAre(3)) << "and the other is too old";
}

TEST_F(AlertDelivery, AFailingSendKeepsItsAlertAndAllAfterIt) {
  for (const double value : {1, 2, 3}) {
    queue(value);
  }
  session->socket().onSend = [&](const std::string& text) {
    noteAlert(text);
    session->socket().sending = Behaviour::fails;
  };
  presence(0, 0);
  EXPECT_THAT(takeArrived(), ElementsAre(1));
  reconnect();
  EXPECT_THAT(takeArrived(), IsEmpty()) << "not accepted yet";
  presence(0, 0);
  EXPECT_THAT(takeArrived(), ElementsAre(2, 3));
}

TEST_F(AlertDelivery, AConnectionThatChangesMeanwhileGetsTheRest) {
  for (const bool wasTaken : {true, false}) {
    presence(0, 0);
    const auto old = session->sockets.back();
    old->sending = Behaviour::hangs;
    old->outlivesItsEnd = wasTaken;
    // From a task of its own, which the end of the connection does not cancel.
    emit(1);
    queue(2);
    reconnect();
    presence(0, 0);
    EXPECT_EQ(takeArrived().size(), wasTaken ? 0U : 2U);
    old->release();
    clock->settle();
    EXPECT_EQ(takeArrived().size(), wasTaken ? 2U : 0U);
    reconnect();
    presence(0, 0);
    EXPECT_THAT(takeArrived(), IsEmpty()) << "each once, wherever it went";
  }
}

TEST_F(AlertDelivery, OneFlushAtATime) {
  presence(0, 0);
  session->socket().sending = Behaviour::hangs;
  for (const double value : {1, 2, 3}) {
    emit(value);
  }
  EXPECT_EQ(emitted, 2) << "they do not wait for the flush that runs";
  session->socket().release();
  clock->settle();
  EXPECT_THAT(takeArrived(), ElementsAre(1, 2, 3)) << "the one that ran takes them along";
  session->socket().sending = Behaviour::hangs;
  isOnMains(false);
  clock->advance(30s);
  stop();
  client->start();
  clock->settle();
  presence(0, 0);
  EXPECT_THAT(takeArrived(), ElementsAre(0)) << "a flush that was cancelled is over";
}

TEST_F(AlertDelivery, AValueThatIsNoNumberIsSentOnce) {
  presence(0, 0);
  emit(std::nan(""));
  emit(std::numeric_limits<double>::infinity());
  emit(91.5);
  EXPECT_THAT(takeArrived(), ElementsAre(0, 0, 91.5));
}

TEST_F(AlertDelivery, TheNextClientGoesOnWhereThisOneWas) {
  std::vector<AlertEngine> saved;
  alertState = {.load = [&] { return saved.empty() ? std::nullopt : std::optional(saved.back()); },
                .save = [&](const AlertEngine& engine) { saved.push_back(engine); }};
  const auto startAnother = [this] {
    stop();
    client = makeClient();
    client->start();
    clock->settle();
  };
  startAnother();
  source->fails = true;
  clock->advance(30s);
  source->fails = false;
  const std::size_t checks = source->checks.size();
  clock->advance(30s);
  EXPECT_EQ(source->checks.size(), checks + 1) << "a check that fails is followed by the next";
  EXPECT_EQ(saved.size(), 1U) << "on mains, and that is all there is to remember";
  isOnMains(false);
  clock->advance(30s);
  startAnother();
  presence(0, 0);
  EXPECT_EQ(takeArrived().size(), 1U) << "what has waited, and nothing twice";
  isOnMains(true);
  startAnother();
  presence(0, 0);
  EXPECT_EQ(takeArrived().size(), 1U) << "plugged in while no client ran";
}

TEST_F(AlertDelivery, AClockThatIsPutRightSilencesNothing) {
  const auto next = [this](const char* diskUse) {
    source->alertText = R"({"epoch":)" + std::to_string(epochSeconds(clock->unixNow())) +
                        R"(,"disk_pct":)" + diskUse + "}";
    clock->advance(30s);
    return takeArrived();
  };
  presence(0, 0);
  clock->unixStart += 24h;
  EXPECT_THAT(next("95.0"), ElementsAre(95));
  EXPECT_THAT(next("50.0"), IsEmpty());
  clock->unixStart -= 24h;
  EXPECT_THAT(next("95.0"), ElementsAre(95));
}

}  // namespace
}  // namespace orvik
