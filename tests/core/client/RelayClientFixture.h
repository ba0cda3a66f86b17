#pragma once

#include <boost/asio/co_spawn.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "core/client/RelayClient.h"
#include "core/pairing/Envelope.h"
#include "core/values/Base64.h"
#include "core/values/JSONReader.h"
#include "tests/support/ManualClock.h"
#include "tests/support/ScriptedSocket.h"

namespace orvik::test {

using namespace std::chrono_literals;

/// Says which kind of sample was asked for, and has something for the history.
class ScriptedSource final : public SampleSource {
 public:
  explicit ScriptedSource(ManualClock& clock) : clock(clock) {}
  asio::awaitable<std::string> sample() override { return sample(false); }
  asio::awaitable<std::string> sample(bool withMacInfo) override {
    co_await clock.sleepFor(duration);
    co_return withMacInfo ? R"({"kind":"full"})" : R"({"kind":"plain"})";
  }
  asio::awaitable<std::string> alertSample() override {
    checks.push_back(clock.now());
    if (fails) {
      throw std::bad_alloc();
    }
    co_return alertText.empty()
        ? JSONValue(JSONObject{{"epoch", epochSeconds(clock.unixNow()) - 120}, {"cpu_pct", 5}})
              .text()
        : alertText;
  }

  ManualClock& clock;
  Clock::Duration duration{};
  std::string alertText;
  bool fails = false;
  std::vector<Instant> checks;
};

/// A relay client on manual time and scripted connections.
class RelayClientFixture : public testing::Test {
 protected:
  RelayClientFixture() {
    session->onNew = [this](ScriptedSocket& socket) {
      socket.onSend = [this, &socket](const std::string& text) {
        if (text == "ping" && answersPings) {
          socket.says("pong");
        }
        note(text);
      };
      if (prepare) {
        prepare(socket);
      }
    };
  }
  ~RelayClientFixture() override { stop(); }
  RelayClientFixture(const RelayClientFixture&) = delete;
  RelayClientFixture& operator=(const RelayClientFixture&) = delete;

  std::shared_ptr<RelayClient> makeClient() {
    return std::make_shared<RelayClient>(
        pairing, "wss://relay.example/base", source, alertState,
        [this](const RelayState& state) {
          states.push_back(state);
          if (onState) {
            onState(state);
          }
        },
        RelayClient::Dependencies{context.get_executor(), clock, session, alerts});
  }

  /// Notes what the client sends, as "seconds kind", and of alerts the values, 0 for none.
  void note(const std::string& text) {
    std::string kind = text;
    if (text.starts_with(R"({"c")")) {
      const auto opened = Envelope::open(text, pairing);
      const UntypedValue payload = readJSON(opened.plaintext);
      if (opened.kind == Envelope::Kind::alert) {
        arrived.push_back(Alert::from(JSONValue::any(payload)).value().value.value_or(0));
        return;
      }
      kind = *payload.find("kind")->get<std::string>();
      kind += payload.find("history") != nullptr ? "+history" : "";
    } else if (text.starts_with(R"({"auth")")) {
      EXPECT_EQ(text, R"({"auth":")" + base64URL(pairing.authKey().data()) + R"("})");
      kind = "auth";
    }
    const double seconds = std::chrono::duration<double>(clock->now() - zero).count();
    std::ostringstream line;
    line << std::round(seconds * 10) / 10 << " " << kind;
    timeline.push_back(line.str());
  }

  /// Starts a connection and forgets what led to it: time counts from here.
  void connect() {
    client->start();
    clock->settle();
    timeline.clear();
    zero = clock->now();
  }
  void beginToStop() {
    stopped = false;
    asio::co_spawn(context, client->stop(), [&](const std::exception_ptr&) { stopped = true; });
    clock->settle();
  }
  void stop() {
    beginToStop();
    if (!stopped) {
      clock->advance(2s);
    }
    EXPECT_TRUE(stopped);
  }
  void presence(int viewers, int active) {
    session->socket().says(R"({"viewers":)" + std::to_string(viewers) + R"(,"active":)" +
                           std::to_string(active) + "}");
    clock->settle();
  }
  std::vector<std::string> takeTimeline() { return std::exchange(timeline, {}); }
  std::vector<RelayState> takeStates() { return std::exchange(states, {}); }

  asio::io_context context;
  std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>(context);
  std::shared_ptr<ScriptedSession> session = std::make_shared<ScriptedSession>();
  std::shared_ptr<ScriptedSource> source = std::make_shared<ScriptedSource>(*clock);
  Pairing pairing = Pairing(Bytes(16, 1), Bytes(32, 2));
  std::function<void(ScriptedSocket&)> prepare;
  std::function<void(const RelayState&)> onState;
  bool answersPings = false;
  std::vector<std::string> timeline;
  std::vector<double> arrived;
  std::vector<RelayState> states;
  bool stopped = false;
  Instant zero;
  std::shared_ptr<AlertQueue> alerts = std::make_shared<AlertQueue>();
  AlertStateStore alertState = AlertStateStore::memory();
  std::shared_ptr<RelayClient> client = makeClient();
};

}  // namespace orvik::test
