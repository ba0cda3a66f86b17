// The relay client on manual time and scripted connections.

#include <boost/asio/co_spawn.hpp>
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <set>
#include <sstream>

#include "core/client/RelayClient.h"
#include "core/client/Revocation.h"
#include "core/pairing/Envelope.h"
#include "core/values/Base64.h"
#include "core/values/JSONReader.h"
#include "tests/support/ManualClock.h"
#include "tests/support/Scenarios.h"
#include "tests/support/ScriptedSocket.h"

namespace orvik {
namespace {

using test::ScriptedSocket;
using Behaviour = ScriptedSocket::Behaviour;

/// Says which kind of sample was asked for, and has something for the history.
class ScriptedSource final : public SampleSource {
 public:
  explicit ScriptedSource(test::ManualClock& clock) : clock(clock) {}
  asio::awaitable<std::string> sample() override { return sample(false); }
  asio::awaitable<std::string> sample(bool withMacInfo) override {
    co_await clock.sleepFor(duration);
    co_return withMacInfo ? R"({"kind":"full"})" : R"({"kind":"plain"})";
  }
  asio::awaitable<std::string> alertSample() override {
    ++checks;
    if (fails) {
      throw std::bad_alloc();
    }
    const auto epoch = std::to_string(epochSeconds(clock.unixNow()) - 120);
    co_return alertText.empty() ? R"({"cpu_pct":5,"epoch":)" + epoch + "}" : alertText;
  }

  test::ManualClock& clock;
  Clock::Duration duration{};
  std::string alertText;
  bool fails = false;
  int checks = 0;
};

Clock::Duration seconds(const std::string& text) {
  return std::chrono::round<std::chrono::milliseconds>(
      std::chrono::duration<double>(std::stod(text)));
}

/// A client, its machine and its relay, to which happens what a scenario says.
class World {
 public:
  World() {
    session->onNew = [this](ScriptedSocket& socket) {
      EXPECT_EQ(socket.url, "wss://relay.example/base/v1/mac/" + base64URL(pairing.macId()));
      socket.connecting = connecting;
      socket.acknowledgesClose = acknowledges;
      socket.onClose = [this](std::uint16_t code) { note("closes " + std::to_string(code)); };
      socket.onSend = [this, &socket](const std::string& text) {
        noteSent(text);
        if (std::exchange(failsAfterThis, false)) {
          socket.sending = Behaviour::fails;
        }
      };
    };
  }
  ~World() {
    stop();
    clock->advance(seconds("2"));
  }
  World(const World&) = delete;
  World& operator=(const World&) = delete;

  /// Carries out an action and gives what happened meanwhile.
  std::string perform(const std::string& line) {
    log.clear();
    const std::size_t blank = std::min(line.find(' '), line.size());
    actions.at(line.substr(0, blank))(line.substr(std::min(blank + 1, line.size())));
    clock->settle();
    return log;
  }

 private:
  void note(const std::string& entry) { log += (log.empty() ? "" : ", ") + entry; }
  void noteSent(const std::string& text) {
    std::ostringstream line;
    line << std::round(std::chrono::duration<double>(clock->now() - zero).count() * 10) / 10 << " ";
    if (text.starts_with(R"({"c")")) {
      const auto opened = Envelope::open(text, pairing);
      const UntypedValue payload = readJSON(opened.plaintext);
      if (opened.kind == Envelope::Kind::alert) {
        line << "alert " << Alert::from(JSONValue::any(payload)).value().value.value_or(0)
             << (envelopes.insert(text).second ? "" : " unchanged");
      } else {
        line << *payload.get<std::string>("kind")
             << (payload.find("history") != nullptr ? "+history" : "");
      }
    } else if (text.starts_with(R"({"auth")")) {
      EXPECT_EQ(text, R"({"auth":")" + base64URL(pairing.authKey().data()) + R"("})");
      line << "auth";
    } else {
      line << text;
    }
    note(line.str());
  }
  void noteState(const RelayState& state) {
    const auto* online = std::get_if<relayState::Online>(&state);
    const auto* waiting = std::get_if<relayState::Waiting>(&state);
    const bool isRejected = std::holds_alternative<relayState::Rejected>(state);
    const bool isConnecting = std::holds_alternative<relayState::Connecting>(state);
    note(online != nullptr    ? "online " + std::to_string(online->viewers)
         : waiting != nullptr ? "waiting " + std::to_string(waiting->retryIn)
         : isRejected         ? "rejected"
         : isConnecting       ? "connecting"
                              : "stopped");
    if (isRestless && (isRejected || isConnecting)) {
      client->start();
    }
  }
  std::shared_ptr<RelayClient> makeClient() {
    const AlertStateStore store{
        .load = [this] { return saved.empty() ? std::nullopt : std::optional(saved.back()); },
        .save = [this](const AlertEngine& engine) { saved.push_back(engine); }};
    return std::make_shared<RelayClient>(
        pairing, "wss://relay.example/base", source, store,
        [this](const RelayState& state) { noteState(state); },
        RelayClient::Dependencies{context.get_executor(), clock, session, alerts});
  }
  void begin(asio::awaitable<void> operation, const char* end) {
    asio::co_spawn(context, std::move(operation),
                   [this, end](const std::exception_ptr&) { note(end); });
  }
  void stop() { begin(client->stop(), "goodbye over"); }
  void revoke() {
    std::make_shared<Revocation>(context.get_executor(), clock, session, "wss://relay.example/base",
                                 RetiredPairing(pairing), [this] { note("done"); })
        ->start();
  }
  Alert alert(const std::string& value) {
    return {.kind = Alert::Kind::diskFull,
            .state = Alert::State::raised,
            .value = std::stod(value),
            .epochMs = epochMilliseconds(clock->unixNow())};
  }
  void read(const std::string& members) {
    const std::string epoch = std::to_string(epochSeconds(clock->unixNow()));
    source->alertText = R"({"epoch":)" + epoch + "," + members + "}";
  }
  void setSending(const std::string& how) {
    if (how == "works") {
      for (const auto& socket : session->sockets) {
        socket->release();
      }
    } else {
      failsAfterThis = how == "once";
      session->socket().outlivesItsEnd = how == "outlives";
      session->socket().sending = failsAfterThis ? Behaviour::works : Behaviour::hangs;
    }
  }
  void end(const std::string& code) {
    session->socket().ends(code.empty() ? std::nullopt
                                        : std::optional(static_cast<std::uint16_t>(stoi(code))));
  }

  using Text = const std::string&;
  const std::map<std::string, std::function<void(Text)>> actions{
      {"start", [this](Text) { client->start(); }},
      {"stop", [this](Text) { stop(); }},
      {"another",
       [this](Text) {
         stop();
         clock->settle();
         client = makeClient();
         client->start();
       }},
      {"revoke", [this](Text) { revoke(); }},
      {"after", [this](Text time) { clock->advance(seconds(time)); }},
      {"restless", [this](Text on) { isRestless = on == "on"; }},
      // The relay.
      {"says", [this](Text text) { session->socket().says(text); }},
      {"brackets", [this](Text) { session->socket().says(std::string(60'000, '[')); }},
      {"binary", [this](Text text) { session->socket().says(text, false); }},
      {"ends", [this](Text code) { end(code); }},
      {"ends-as-it-stops", [this](Text code) { end(code), stop(); }},
      {"connecting",
       [this](Text how) {
         connecting = how == "works"   ? Behaviour::works
                      : how == "hangs" ? Behaviour::hangs
                                       : Behaviour::fails;
       }},
      {"sending", [this](Text how) { setSending(how); }},
      {"goodbyes", [this](Text how) { acknowledges = how == "answered"; }},
      // The machine.
      {"sampling", [this](Text time) { source->duration = seconds(time); }},
      {"sample", [this](Text text) { source->alertText = text; }},
      {"reads", [this](Text members) { read(members); }},
      {"source", [this](Text how) { source->fails = how == "fails"; }},
      {"unix", [this](Text time) { clock->unixStart += seconds(time); }},
      {"queue", [this](Text value) { alerts->append(alert(value)); }},
      {"emit", [this](Text value) { begin(client->emitForTesting(alert(value)), "emitted"); }},
      {"checks", [this](Text) { note(std::to_string(std::exchange(source->checks, 0))); }},
      {"saved", [this](Text) { note(std::to_string(saved.size())); }}};

  asio::io_context context;
  std::shared_ptr<test::ManualClock> clock = std::make_shared<test::ManualClock>(context);
  const Instant zero = clock->now();
  std::shared_ptr<test::ScriptedSession> session = std::make_shared<test::ScriptedSession>();
  std::shared_ptr<ScriptedSource> source = std::make_shared<ScriptedSource>(*clock);
  std::shared_ptr<AlertQueue> alerts = std::make_shared<AlertQueue>();
  const Pairing pairing = Pairing(Bytes(16, 1), Bytes(32, 2));
  Behaviour connecting = Behaviour::works;
  bool acknowledges = true;
  bool failsAfterThis = false;
  bool isRestless = false;
  std::set<std::string> envelopes;
  std::string log;
  std::vector<AlertEngine> saved;
  std::shared_ptr<RelayClient> client = makeClient();
};

TEST(RelayClient, DoesWhatTheScenariosSay) {
  EXPECT_EQ(test::expectScenarios<World>("client/scenarios.txt"), 333);
}

TEST(Adding, LeavesWhatIsNoObjectAsItIs) {
  EXPECT_EQ(RelayClient::adding("k\"", JSONValue::Array{1, nullptr}, R"({"a":1})"),
            R"({"a":1,"k\"":[1,null]})");
  for (const char* data : {"{}", "", "}", "{\"a\":1}\n"}) {
    EXPECT_EQ(RelayClient::adding("k", 1, data), data);
  }
}

}  // namespace
}  // namespace orvik
