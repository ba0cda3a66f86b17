#include <gmock/gmock.h>

#include <map>
#include <sstream>

#include "core/pairing/Base64URL.h"
#include "relay/Session.h"

namespace orvik::relay {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

using Lines = std::vector<std::string>;

/// Macs and phones around one switchboard, acting on commands:
///   "mac M a t"    Mac M connects for identifier a and presents token t; "phone P a t" likewise
///   "open mac M a" without a token
///   "M: text"      M sends a text
///   "M gone"       M's connection ends
///   "wait 60"      seconds pass
/// Each answers with what everybody is told meanwhile: "M text", or "M closed 4403".
class Stage {
 public:
  explicit Stage(const Limits& bounds = {}) : limits(bounds), switchboard(limits) {}

  Lines does(const std::string& command) {
    told.clear();
    std::istringstream words(command);
    std::string first;
    std::string second;
    words >> first >> second;
    if (first == "mac" || first == "phone") {
      std::string identifier;
      std::string token;
      words >> identifier >> token;
      open(first, second, identifier.front());
      says(second, R"({"auth":")" + tokenText(token.front()) + R"(","extra":[1]})");
    } else if (first == "open") {
      std::string name;
      std::string identifier;
      words >> name >> identifier;
      open(second, name, identifier.front());
    } else if (first == "wait") {
      now += std::chrono::seconds(std::stoi(second));
      switchboard.endHolds(now);
      for (auto& [name, actor] : actors) {
        actor->session.check(now);
      }
    } else if (first.ends_with(':')) {
      says(first.substr(0, first.size() - 1), command.substr(first.size() + 1));
    } else {
      actors.at(first)->isClosed = true;
    }
    removeClosed();
    return told;
  }

  void says(const std::string& name, const std::string& text, bool isText = true) {
    actors.at(name)->session.received(isText, std::make_shared<const std::string>(text), now);
    removeClosed();
  }

  static std::string tokenText(char letter) {
    return base64URL(Bytes(TokenHash::tokenSize, static_cast<std::uint8_t>(letter)));
  }

  Lines told;

 private:
  struct Actor final : Peer {
    Actor(Stage& stage, std::string name, const Target& target)
        : stage(stage),
          name(std::move(name)),
          session(target, *this, stage.switchboard, stage.limits, stage.now) {}
    void send(SharedText text) override { stage.told.push_back(name + " " + *text); }
    void close(std::uint16_t code, std::string_view) override {
      if (!std::exchange(isClosed, true)) {
        stage.told.push_back(name + " closed " + std::to_string(code));
      }
    }
    Stage& stage;
    std::string name;
    Session session;
    bool isClosed = false;
  };

  void open(const std::string& role, const std::string& name, char identifier) {
    Target target{role == "mac" ? Target::Role::mac : Target::Role::phone, {}};
    target.identifier.fill(static_cast<std::uint8_t>(identifier));
    actors[name] = std::make_unique<Actor>(*this, name, target);
  }

  void removeClosed() {
    std::erase_if(actors, [](const auto& entry) {
      if (entry.second->isClosed) {
        entry.second->session.ended();
      }
      return entry.second->isClosed;
    });
  }

  const Limits limits;
  Switchboard switchboard;
  Instant now{1h};
  std::map<std::string, std::unique_ptr<Actor>> actors;
};

struct Step {
  std::string command;
  Lines told;
};

void expectTimeline(Stage& stage, const std::vector<Step>& steps) {
  for (const Step& step : steps) {
    EXPECT_EQ(stage.does(step.command), step.told) << "after: " << step.command;
  }
}

std::string presence(const std::string& mac, int viewers, int active) {
  return mac + R"( {"active":)" + std::to_string(active) + R"(,"viewers":)" +
         std::to_string(viewers) + "}";
}
std::string macIs(const std::string& phone, bool connected) {
  return phone + R"( {"mac":)" + (connected ? "true}" : "false}");
}

TEST(Switchboard, PresenceAndForwarding) {
  Stage stage;
  expectTimeline(stage, {{"mac M a t", {presence("M", 0, 0)}},
                         {"phone P a t", {macIs("P", true), presence("M", 1, 0)}},
                         {"phone Q a t", {macIs("Q", true), presence("M", 2, 0)}},
                         {R"(P: {"active":true})", {presence("M", 2, 1)}},
                         {R"(P: {"active":true,"n":1})", {}},
                         {R"(P: {"active":1})", {}},
                         {R"(P: {"active")", {}},
                         {R"(M: {"c":"…"})", {R"(P {"c":"…"})", R"(Q {"c":"…"})"}},
                         {"M: ping", {"M pong"}},
                         {"Q: ping", {"Q pong"}},
                         {"mac N b t", {presence("N", 0, 0)}},
                         {"N: other", {}},
                         {"P gone", {presence("M", 1, 0)}},
                         {"M gone", {macIs("Q", false)}},
                         {R"(Q: {"active":true})", {}},
                         {"mac M a t", {macIs("Q", true), presence("M", 1, 1)}},
                         {"Q gone", {presence("M", 0, 0)}}});
}

TEST(Switchboard, TheFirstTokenOwnsTheIdentifier) {
  Stage stage;
  expectTimeline(stage, {{"mac M a t", {presence("M", 0, 0)}},
                         {"mac X a u", {"X closed 4403"}},
                         {"phone X a u", {"X closed 4403"}},
                         {"M gone", {}},
                         {"mac X a u", {"X closed 4403"}},
                         {"phone X a u", {"X closed 4403"}},
                         {"phone P a t", {macIs("P", false)}},
                         {"mac M a t", {macIs("P", true), presence("M", 1, 0)}},
                         {"mac N a t", {"M closed 4000", presence("N", 1, 0)}},
                         {"N: text", {"P text"}},
                         {"P: ping", {"P pong"}},
                         {"N gone", {macIs("P", false)}}});
}

TEST(Switchboard, PhonesWaitForAnUnknownMac) {
  Stage stage;
  expectTimeline(
      stage,
      {{"phone P a t", {}},
       {"phone X a u", {}},
       {R"(P: {"active":true})", {}},
       {"P: ping", {"P pong"}},
       {"wait 30", {}},
       {"phone Q a t", {}},
       {"phone R b t", {}},
       {"wait 29", {}},
       {"mac M a t", {macIs("P", true), "X closed 4403", macIs("Q", true), presence("M", 2, 1)}},
       {"wait 30", {}},
       {"wait 1", {"R closed 1013"}},
       {"mac N b t", {presence("N", 0, 0)}}});
}

TEST(Switchboard, EverythingIsBounded) {
  Limits limits;
  limits.phonesPerMac = 2;
  limits.heldPhonesPerMac = 1;
  limits.heldPhones = 2;
  limits.records = 2;
  Stage stage(limits);
  expectTimeline(stage, {{"phone P a t", {}},
                         {"phone Q a t", {"Q closed 1013"}},
                         {"phone R b t", {}},
                         {"phone S c t", {"S closed 1013"}},
                         {"R gone", {}},
                         {"phone S c t", {}},
                         {"S gone", {}},
                         {"mac M a t", {macIs("P", true), presence("M", 1, 0)}},
                         {"phone Q a t", {macIs("Q", true), presence("M", 2, 0)}},
                         {"phone R a t", {"R closed 1013"}},
                         {"phone S c t", {}},
                         {"phone T d t", {}},
                         {"phone U e t", {"U closed 1013"}},
                         {"S gone", {}},
                         {"T gone", {}},
                         {"M gone", {macIs("P", false), macIs("Q", false)}},
                         {"mac N b t", {presence("N", 0, 0)}},
                         // Both records are in use: one by phones, one by its Mac.
                         {"mac O c t", {"O closed 1013"}},
                         {"N gone", {}},
                         {"P gone", {}},
                         {"Q gone", {}},
                         // The longest unused is forgotten, and may be claimed by anybody.
                         {"mac O c t", {presence("O", 0, 0)}},
                         {"mac X a u", {"X closed 4403"}},
                         {"mac M a t", {presence("M", 0, 0)}},
                         {"M gone", {}},
                         {"mac N b u", {presence("N", 0, 0)}},
                         {"N gone", {}},
                         {"mac N b u", {presence("N", 0, 0)}},
                         {"mac M a t", {"M closed 1013"}}});
}

TEST(Session, TheFirstMessageIsAToken) {
  const std::string token = Stage::tokenText('t');
  const auto auth = [](const std::string& text) { return R"({"auth":")" + text + R"("})"; };
  for (const std::string& message :
       {std::string(), std::string("ping"), token, std::string("{}"), std::string(R"({"auth":1})"),
        "[" + auth(token) + "]", auth(token) + "x", auth(token.substr(1)), auth(token + "="),
        auth(token + "AA"), auth(std::string(42, 'A') + "B"), auth(std::string(42, '+') + "8"),
        std::string(4000, '[')}) {
    for (const std::string role : {"mac", "phone"}) {
      Stage stage;
      stage.does("open " + role + " M a");
      stage.says("M", message);
      EXPECT_THAT(stage.told, ElementsAre("M closed 4400")) << message;
    }
  }
  Stage stage;
  stage.does("open mac M a");
  stage.says("M", auth(token), false);
  EXPECT_THAT(stage.told, ElementsAre("M closed 4400"));
  stage.does("mac M a t");
  stage.does("phone P a t");
  stage.told.clear();
  stage.says("M", "binary", false);
  stage.says("P", "ping", false);
  EXPECT_THAT(stage.told, IsEmpty());
}

TEST(Session, SilenceAndFloodsEndIt) {
  Stage stage;
  expectTimeline(stage, {{"open phone X a", {}},
                         {"wait 9", {}},
                         {"mac M b t", {presence("M", 0, 0)}},
                         {"phone P b t", {macIs("P", true), presence("M", 1, 0)}},
                         {"wait 1", {"X closed 4400"}},
                         {"wait 170", {}},
                         {"P: ping", {"P pong"}},
                         {"wait 9", {"M closed 1013", macIs("P", false)}},
                         {"wait 170", {}},
                         {"wait 1", {"P closed 1013"}},
                         {"mac M b t", {presence("M", 0, 0)}},
                         {"phone P b t", {macIs("P", true), presence("M", 1, 0)}}});
  const Limits limits;
  // The token was a message too.
  for (double sent = 1; sent < limits.phoneMessages.burst; ++sent) {
    EXPECT_THAT(stage.does("P: x"), IsEmpty());
  }
  EXPECT_THAT(stage.does("P: x"), ElementsAre("P closed 1008", presence("M", 0, 0)));
  for (double sent = 1; sent < limits.macMessages.burst; ++sent) {
    EXPECT_THAT(stage.does("M: x"), IsEmpty());
  }
  EXPECT_THAT(stage.does("M: x"), ElementsAre("M closed 1008"));
}

}  // namespace
}  // namespace orvik::relay
