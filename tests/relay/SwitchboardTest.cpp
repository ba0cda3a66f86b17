#include <gmock/gmock.h>

#include <fstream>
#include <map>
#include <sstream>

#include "core/values/Base64.h"
#include "relay/Session.h"

namespace orvik::relay {
namespace {

using namespace std::chrono_literals;

/// Macs and phones around one switchboard, acting on the commands of
/// fixtures/relay/switchboard.txt.
class Stage {
 public:
  explicit Stage(const Limits& bounds = {}) : limits(bounds) {}

  std::string does(const std::string& command) {
    told.clear();
    std::istringstream words(command);
    std::string verb;
    std::string name;
    words >> verb >> name >> std::ws;
    if (verb == "wait") {
      now += std::chrono::seconds(std::stoi(name));
      switchboard.expire(now);
      for (auto& [key, actor] : actors) {
        actor->session.check(now);
      }
    } else if (verb == "gone") {
      actors.at(name)->isClosed = true;
    } else if (verb == "text" || verb == "binary") {
      std::string text;
      std::getline(words, text);
      actors.at(name)->says(text, verb == "text");
    } else {
      char identifier = 0;
      char token = 0;
      words >> identifier >> token;
      Target target{verb == "mac" ? Target::Role::mac : Target::Role::phone, {}};
      target.identifier.fill(static_cast<std::uint8_t>(identifier));
      Actor& actor = *(actors[name] = std::make_unique<Actor>(*this, name, target));
      if (token != 0) {
        const Bytes bytes(TokenHash::tokenSize, static_cast<std::uint8_t>(token));
        actor.says(R"({"x":[],"auth":")" + base64URL(bytes) + R"("})");
      }
    }
    removeClosed();
    return told;
  }

  /// Plays what stands below this heading.
  void plays(const std::string& heading) {
    std::ifstream lines(ORVIK_FIXTURES "/relay/switchboard.txt");
    std::string line;
    while (std::getline(lines, line) && line != "## " + heading) {
    }
    ASSERT_TRUE(lines) << heading;
    while (std::getline(lines, line) && !line.empty()) {
      if (const std::size_t arrow = line.find(" ->"); !line.starts_with('#')) {
        EXPECT_EQ(does(line.substr(0, arrow)), line.substr(arrow + 3)) << line;
      }
    }
  }

 private:
  struct Actor final : Peer {
    Actor(Stage& on, const std::string& called, const Target& target)
        : stage(on), name(called), session(target, *this, on.switchboard, on.limits, on.now) {}
    void says(const std::string& text, bool isText = true) {
      session.received(isText, framedText(text), stage.now);
    }
    void send(SharedText text) override {
      stage.told += " " + name + " " + std::string(text->text());
    }
    void close(CloseReason reason) override {
      if (!std::exchange(isClosed, true)) {
        stage.told += " " + name + " closed " + std::to_string(rowOf(reason).code);
      }
    }
    Stage& stage;
    const std::string name;
    Session session;
    bool isClosed = false;
  };

  void removeClosed() {
    std::erase_if(actors, [](const auto& entry) {
      if (entry.second->isClosed) {
        entry.second->session.ended();
      }
      return entry.second->isClosed;
    });
  }

  const Limits limits;
  Switchboard switchboard{limits};
  Instant now{1h};
  std::string told;
  std::map<std::string, std::unique_ptr<Actor>> actors;
};

TEST(Switchboard, TellsWhomItConcerns) {
  for (const char* heading : {"presence and forwarding", "the first token owns the identifier",
                              "phones wait for an unknown Mac"}) {
    Stage().plays(heading);
  }
}

TEST(Switchboard, EverythingIsBounded) {
  Limits limits;
  limits.keptAlertsPerMac = 2;
  limits.keptAlertBytes = 20;
  limits.keptAlertTime = 60s;
  limits.keptBytes = 3 * (15 + 400);
  limits.records = 3;
  Stage(limits).plays("alerts wait for the first phone");
  limits.phonesPerMac = limits.heldPhones = limits.records = 2;
  limits.heldPhonesPerMac = 1;
  Stage(limits).plays("everything is bounded");
}

TEST(Session, EndsWithoutATokenAndAfterSilenceOrFloods) {
  Stage().plays("the first message is a token");
  Stage stage;
  stage.plays("silence");
  stage.does("phone X a");
  EXPECT_EQ(stage.does("text X " + std::string(4000, '[')), " X closed 4400");
  // The token was a message too.
  for (double sent = 1; sent < Limits().phoneMessages.burst; ++sent) {
    EXPECT_EQ(stage.does("text P x"), "");
  }
  EXPECT_EQ(stage.does("text P x"), R"( P closed 1008 M {"active":0,"viewers":0})");
  for (double sent = 1; sent < Limits().macMessages.burst; ++sent) {
    EXPECT_EQ(stage.does("text M x"), "");
  }
  EXPECT_EQ(stage.does("text M x"), " M closed 1008");
}

}  // namespace
}  // namespace orvik::relay
