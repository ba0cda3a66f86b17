#include <gtest/gtest.h>

#include <map>

#include "core/client/Revocation.h"
#include "tests/support/ManualClock.h"
#include "tests/support/Scenarios.h"
#include "tests/support/ScriptedSocket.h"

namespace orvik {
namespace {

/// A computer that has replaced its pairing, and a relay that does what a scenario says.
class Revoker {
 public:
  Revoker() {
    session->onNew = [this](test::ScriptedSocket& socket) {
      EXPECT_EQ(socket.url, "wss://relay.example/v1/mac/AAAAAAAAAAAAAAAAAAAAAA");
      socket.onClose = [this](std::uint16_t code) { note("closes " + std::to_string(code)); };
      socket.onSend = [this](const std::string& text) {
        note(text == pairing.authMessage().text() ? "auth" : text);
      };
    };
  }
  std::string perform(const std::string& line) {
    log.clear();
    const std::size_t blank = std::min(line.find(' '), line.size());
    actions.at(line.substr(0, blank))(line.substr(std::min(blank + 1, line.size())));
    clock->settle();
    return log;
  }

 private:
  void note(const std::string& entry) { log += (log.empty() ? "" : ", ") + entry; }
  void start() {
    std::make_shared<Revocation>(context->get_executor(), clock, session, "wss://relay.example",
                                 RetiredPairing(pairing), [this] { note("done"); })
        ->start();
  }

  const std::map<std::string, std::function<void(const std::string&)>> actions{
      {"start", [this](auto&) { start(); }},
      {"accepts", [this](auto&) { session->socket().says(R"({"viewers":1,"active":1})"); }},
      {"ends",
       [this](auto& code) {
         session->socket().ends(code.empty()
                                    ? std::nullopt
                                    : std::optional(static_cast<std::uint16_t>(std::stoi(code))));
       }},
      {"after", [this](auto& seconds) {
         clock->advance(std::chrono::milliseconds(std::lround(1000 * std::stod(seconds))));
       }}};
  std::string log;
  const Pairing pairing{Bytes(Pairing::macIdSize), Bytes(Pairing::secretSize)};
  const std::shared_ptr<test::ScriptedSession> session = std::make_shared<test::ScriptedSession>();
  const std::unique_ptr<asio::io_context> context = std::make_unique<asio::io_context>();
  const std::shared_ptr<test::ManualClock> clock = std::make_shared<test::ManualClock>(*context);
};

TEST(Revocation, DoesWhatTheScenariosSay) {
  EXPECT_EQ(test::expectScenarios<Revoker>("client/revocation.txt"), 25);
}

}  // namespace
}  // namespace orvik
