// Alerts on their way from the machine to the relay.

#include "tests/core/client/RelaySession.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
using test::ScriptedSocket;
using testing::ElementsAre;
using testing::IsEmpty;

/// The machine is plugged in and unplugged, which always is an alert. Alerts are told apart by the
/// second at which they happened.
class AlertDelivery : public test::RelaySession {
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
    zero = clock->now();
  }

  void isOnMains(bool onMains) {
    source->alertText = R"({"epoch":)" + std::to_string(epochSeconds(clock->unixNow() + 1ms)) +
                        R"(,"on_ac":)" + (onMains ? "true" : "false") + "}";
  }
  /// Raises this many alerts, one with each check.
  void raise(int count) {
    for (; count > 0; --count) {
      const auto next = source->checks.back() + 30s - clock->now();
      clock->advance(next - 1ms);
      isOnMains(source->alertText.find("false") != std::string::npos);
      clock->advance(1ms);
    }
  }
  void noteAlert(const std::string& text) {
    if (!text.starts_with(R"({"c")")) {
      return;
    }
    const auto opened = Envelope::open(text, pairing);
    EXPECT_EQ(opened.kind, Envelope::Kind::alert);
    const auto alert = Alert::from(JSONValue::any(readJSON(opened.plaintext)));
    ASSERT_TRUE(alert.has_value());
    arrived.push_back(
        static_cast<int>(alert->epochMs / 1000 - epochSeconds(clock->unixNow()) +
                         std::chrono::round<std::chrono::seconds>(clock->now() - zero).count()));
  }
  /// A new connection in place of the last one, which ends.
  void reconnect() {
    session->socket().ends();
    clock->advance(1s);
  }
  std::vector<int> takeArrived() { return std::exchange(arrived, {}); }

  void emit(Alert::Kind kind) {
    asio::co_spawn(context,
                   client->emitForTesting({.kind = kind,
                                           .state = Alert::State::raised,
                                           .epochMs = epochMilliseconds(clock->unixNow())}),
                   [this](const std::exception_ptr&) { ++emitted; });
    clock->settle();
  }

  std::vector<int> arrived;
  int emitted = 0;
};

TEST_F(AlertDelivery, WhatIsRaisedOfflineGoesOutWithTheFirstPresenceOnce) {
  raise(2);
  EXPECT_THAT(takeArrived(), IsEmpty());
  presence(0, 0);
  EXPECT_THAT(takeArrived(), ElementsAre(30, 60));
  source->fails = true;
  clock->advance(30s);
  source->fails = false;
  raise(1);
  EXPECT_THAT(takeArrived(), ElementsAre(120)) << "a check that fails is followed by the next";
  presence(1, 0);
  reconnect();
  raise(2);  // at 150 and 180, of which the first is too old an hour later
  clock->advance(zero + 150s + 1h + 1ms - clock->now());
  presence(0, 0);
  EXPECT_THAT(takeArrived(), ElementsAre(180));
}

TEST_F(AlertDelivery, AFailingSendKeepsItsAlertAndAllAfterIt) {
  raise(3);
  session->socket().onSend = [&](const std::string& text) {
    noteAlert(text);
    session->socket().sending = ScriptedSocket::Behaviour::fails;
  };
  presence(0, 0);
  EXPECT_THAT(takeArrived(), ElementsAre(30));
  reconnect();
  EXPECT_THAT(takeArrived(), IsEmpty()) << "not accepted yet";
  presence(0, 0);
  EXPECT_THAT(takeArrived(), ElementsAre(60, 90));
}

TEST_F(AlertDelivery, AConnectionThatChangesMeanwhileGetsTheRest) {
  for (const bool wasTaken : {true, false}) {
    presence(0, 0);
    const auto old = session->sockets.back();
    old->sending = ScriptedSocket::Behaviour::hangs;
    old->outlivesItsEnd = wasTaken;
    // From a task of its own, which the end of the connection does not cancel.
    emit(Alert::Kind::diskFull);
    raise(2);
    reconnect();
    presence(0, 0);
    EXPECT_EQ(takeArrived().size(), wasTaken ? 0U : 3U);
    old->release();
    clock->settle();
    EXPECT_EQ(takeArrived().size(), wasTaken ? 3U : 0U);
    reconnect();
    presence(0, 0);
    EXPECT_THAT(takeArrived(), IsEmpty()) << "each once, wherever it went";
  }
}

TEST_F(AlertDelivery, OneFlushAtATime) {
  presence(0, 0);
  session->socket().sending = ScriptedSocket::Behaviour::hangs;
  raise(1);
  emit(Alert::Kind::diskFull);
  emit(Alert::Kind::tempHigh);
  EXPECT_EQ(emitted, 2) << "they do not wait for the flush that runs";
  session->socket().release();
  clock->settle();
  EXPECT_THAT(takeArrived(), ElementsAre(30, 30, 30)) << "the one that ran takes them along";
  session->socket().sending = ScriptedSocket::Behaviour::hangs;
  raise(1);
  stop();
  client->start();
  clock->settle();
  presence(0, 0);
  EXPECT_THAT(takeArrived(), ElementsAre(60)) << "a flush that was cancelled is over";
}

TEST_F(AlertDelivery, TheStateIsSavedWhenItChangesAndGoesOnInTheNextRun) {
  std::vector<AlertEngine> saved;
  alertState = {.load = [&] { return saved.empty() ? std::nullopt : std::optional(saved.back()); },
                .save = [&](const AlertEngine& engine) { saved.push_back(engine); }};
  stop();
  client = makeClient();
  source->checks.clear();
  client->start();
  clock->advance(60s);
  EXPECT_EQ(source->checks.size(), 3U);
  EXPECT_EQ(saved.size(), 1U) << "on mains, and that is all there is to remember";
  stop();
  isOnMains(false);
  client = makeClient();
  client->start();
  clock->settle();
  presence(0, 0);
  EXPECT_EQ(takeArrived().size(), 1U) << "unplugged while the program did not run";
}

}  // namespace
}  // namespace orvik
