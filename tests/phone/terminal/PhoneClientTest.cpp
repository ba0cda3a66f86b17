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

using namespace std::chrono_literals;
using test::ScriptedSocket;
using testing::ElementsAre;
using testing::IsEmpty;

/// A phone that runs, with scripted connections and time that stands still. Writes down what it is
/// told.
class PhoneClientTest : public testing::Test, public PhoneObserver {
 protected:
  ~PhoneClientTest() override {
    cancellation.emit(asio::cancellation_type::terminal);
    clock->settle();
  }

  void connectionChanged(const ConnectionState& state) override {
    diary.push_back(description(state));
  }
  bool opened(const Payload& payload) override {
    diary.push_back(static_cast<char>(payload.kind) + (":" + payload.text));
    return isMoreWanted;
  }
  void unreadable() override { diary.emplace_back("unreadable"); }

  void start() {
    asio::co_spawn(
        context, client.run(),
        asio::bind_cancellation_slot(cancellation.slot(), [this](const std::exception_ptr& failure,
                                                                 PhoneClient::End result) {
          isOver = true;
          end = failure ? std::nullopt : std::optional(result);
        }));
    clock->settle();
  }
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
  std::vector<std::string> takeDiary() { return std::exchange(diary, {}); }

  asio::io_context context;
  std::shared_ptr<test::ManualClock> clock = std::make_shared<test::ManualClock>(context);
  std::shared_ptr<test::ScriptedSession> session = std::make_shared<test::ScriptedSession>();
  asio::cancellation_signal cancellation;
  const Pairing pairing = Pairing::generate();
  std::vector<std::string> diary;
  bool isMoreWanted = true;
  PhoneClient client{pairing, "wss://relay.example/at/home/", session, clock, *this};
  bool isOver = false;
  std::optional<PhoneClient::End> end;
  bool isStopped = false;
};

TEST_F(PhoneClientTest, IntroducesItselfAndOpensWhatIsSealedForIt) {
  start();
  EXPECT_EQ(socket().url, "wss://relay.example/at/home/v1/phone/" + base64URL(pairing.macId()));
  const std::string token = base64URL(pairing.authKey().data());
  EXPECT_THAT(socket().sent,
              ElementsAre("{\"auth\":\"" + token + "\",\"last\":0}", "{\"active\":true}"));
  EXPECT_THAT(takeDiary(), ElementsAre("connecting…", "waiting for the computer…"));

  using Kind = Envelope::Kind;
  const auto seal = [this](const char* text, Kind kind) {
    return Envelope::seal(text, kind, pairing);
  };
  const std::pair<std::string, const char*> messages[] = {
      {R"({"mac":false})", "computer offline"},
      {R"({"mac":true,"later":1})", "live"},
      {seal(R"({"epoch":1})", Kind::sample), R"(s:{"epoch":1})"},
      {seal(R"({"kind":"disk_full"})", Kind::alert), R"(a:{"kind":"disk_full"})"},
      {Envelope::seal("{}", Kind::sample, Pairing::generate()), "unreadable"},
      {"", "unreadable"},
      {"{", "unreadable"},
      {"[]", "unreadable"},
      {"null", "unreadable"},
      {R"({"mac":1})", "unreadable"},
      {R"({"v":1})", "unreadable"},
      {"\xFF", "unreadable"},
      {seal("[1]", Kind::sample), "unreadable"},
      {seal("no JSON", Kind::sample), "unreadable"}};
  for (const auto& [message, entry] : messages) {
    says(message);
    EXPECT_THAT(takeDiary(), ElementsAre(entry)) << message;
  }
  says("pong");
  says(seal("{}", Kind::sample), false);
  EXPECT_THAT(takeDiary(), IsEmpty());

  isMoreWanted = false;
  says(seal("{}", Kind::sample));
  EXPECT_EQ(end, PhoneClient::End::finished);
  EXPECT_THAT(socket().closedWith, IsEmpty()) << "until it says goodbye";
  stop();
  EXPECT_TRUE(isStopped);
  EXPECT_THAT(socket().closedWith, ElementsAre(closeCode::normal));
}

TEST_F(PhoneClientTest, SaysWhyItComesBackLaterOrNever) {
  session->onNew = [](ScriptedSocket& fresh) {
    fresh.connecting = ScriptedSocket::Behaviour::fails;
  };
  start();
  EXPECT_THAT(takeDiary(), ElementsAre("connecting…",
                                       "offline, next attempt after 1 s (Connection reset by "
                                       "peer)"));
  session->onNew = nullptr;
  clock->advance(1s);
  says(R"({"mac":true})");
  takeDiary();
  const std::pair<std::optional<std::uint16_t>, const char*> ends[] = {
      {1013, "offline, next attempt after 1 s (the relay asks to come back later)"},
      {1001, "offline, next attempt after 2 s (closed by the relay, code 1001)"},
      {std::nullopt, "offline, next attempt after 4 s (Connection reset by peer)"}};
  for (const auto& [code, entry] : ends) {
    socket().ends(code);
    clock->settle();
    EXPECT_THAT(takeDiary(), ElementsAre(entry));
    clock->advance(4s);
    EXPECT_THAT(takeDiary(), ElementsAre("connecting…", "waiting for the computer…"));
  }
  // Pinged after ten seconds, then twice a minute. Nothing has arrived.
  clock->advance(11s);
  EXPECT_EQ(socket().sent.back(), "ping");
  says("pong");
  clock->advance(30s);
  EXPECT_EQ(socket().sent.size(), 4U);
  clock->advance(19s);
  EXPECT_THAT(takeDiary(), ElementsAre("offline, next attempt after 8 s (Connection timed out)"));
  clock->advance(8s);
  takeDiary();
  socket().ends(closeCode::pairingRejected);
  clock->advance(600s);
  EXPECT_EQ(end, PhoneClient::End::rejected);
  EXPECT_THAT(takeDiary(), IsEmpty());
}

TEST_F(PhoneClientTest, NamesTheLastAlertThatHasCome) {
  start();
  const auto last = [this] {
    socket().ends(std::nullopt);
    clock->advance(1s);
    const std::string& said = socket().sent.front();
    return said.substr(said.find(R"(","last")"));
  };
  const std::string alert =
      Envelope::seal(R"({"kind":"disk_full"})", Envelope::Kind::alert, pairing);
  const std::pair<std::vector<std::string>, const char*> conversations[] = {
      {{alert, R"({"alert":7})"}, R"(","last":0})"},
      {{alert}, R"(","last":0})"},
      {{R"({"alert":7})", "pong", alert}, R"(","last":7})"},
      {{R"({"alert":9})", "not sealed for this phone"}, R"(","last":9})"},
      {{R"({"alert":10})", R"({"mac":false})", alert}, R"(","last":9})"},
      {{R"({"alert":-1})", R"({"alert":"12"})", R"({"alert":3})", alert}, R"(","last":3})"}};
  for (const auto& [messages, said] : conversations) {
    // Accepted, so that the next connection comes soon.
    says(R"({"mac":true})");
    for (const std::string& message : messages) {
      says(message);
    }
    EXPECT_EQ(last(), said);
  }
}

TEST_F(PhoneClientTest, LeavesTheGoodbyeToWhoeverHasCancelledIt) {
  start();
  takeDiary();
  cancellation.emit(asio::cancellation_type::terminal);
  clock->settle();
  EXPECT_TRUE(isOver);
  EXPECT_THAT(socket().closedWith, IsEmpty());
  socket().acknowledgesClose = false;
  stop();
  clock->advance(2s - 1ms);
  EXPECT_FALSE(isStopped);
  clock->advance(1ms);
  EXPECT_TRUE(isStopped);
  EXPECT_THAT(socket().closedWith, ElementsAre(closeCode::normal));
  EXPECT_THAT(takeDiary(), IsEmpty());
}

}  // namespace
}  // namespace orvik
