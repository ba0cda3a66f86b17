#include <gmock/gmock.h>

#include <map>
#include <sstream>

#include "core/values/Base64.h"
#include "relay/Session.h"

namespace orvik::relay {
namespace {

using namespace std::chrono_literals;

/// Macs and phones around one switchboard, acting on commands:
///   mac M a t      M connects for identifier a and presents token t; without t it presents none
///   phone P a t    likewise
///   text M hello   M sends a text message; "binary M hello" a binary one
///   gone M         M's connection ends
///   wait 60        seconds pass
/// Each answers with what everybody is told: "M hello", or "M closed 4403", one after another.
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
        actor.says(R"({"x":[],"auth":")" + tokenText(token) + R"("})");
      }
    }
    removeClosed();
    return told;
  }

  /// Plays lines of the form "command -> what everybody is told".
  void plays(const std::string& timeline) {
    std::istringstream lines(timeline);
    for (std::string line; std::getline(lines, line);) {
      if (const std::size_t arrow = line.find(" ->"); arrow != std::string::npos) {
        EXPECT_EQ(does(line.substr(0, arrow)), line.substr(arrow + 3)) << line;
      }
    }
  }

  static std::string tokenText(char letter) {
    return base64URL(Bytes(TokenHash::tokenSize, static_cast<std::uint8_t>(letter)));
  }

 private:
  struct Actor final : Peer {
    Actor(Stage& on, const std::string& called, const Target& target)
        : stage(on), name(called), session(target, *this, on.switchboard, on.limits, on.now) {}
    void says(const std::string& text, bool isText = true) {
      session.received(isText, std::make_shared<const std::string>(text), stage.now);
    }
    void send(SharedText text) override { stage.told += " " + name + " " + *text; }
    void close(std::uint16_t code, std::string_view) override {
      if (!std::exchange(isClosed, true)) {
        stage.told += " " + name + " closed " + std::to_string(code);
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

TEST(Switchboard, PresenceAndForwarding) {
  Stage().plays(R"(
mac M a t -> M {"active":0,"viewers":0}
phone P a t -> P {"mac":true} M {"active":0,"viewers":1}
phone Q a t -> Q {"mac":true} M {"active":0,"viewers":2}
text P {"active":true} -> M {"active":1,"viewers":2}
text P {"active":true,"n":1} ->
text P {"active":1} ->
text P {"active" ->
text M {"c":"…"} -> P {"c":"…"} Q {"c":"…"}
text M ping -> M pong
text Q ping -> Q pong
binary M ping ->
binary P ping ->
mac N b t -> N {"active":0,"viewers":0}
text N other ->
gone P -> M {"active":0,"viewers":1}
gone M -> Q {"mac":false}
text Q {"active":true} ->
mac M a t -> Q {"mac":true} M {"active":1,"viewers":1}
gone Q -> M {"active":0,"viewers":0}
)");
}

TEST(Switchboard, TheFirstTokenOwnsTheIdentifier) {
  Stage().plays(R"(
mac M a t -> M {"active":0,"viewers":0}
mac X a u -> X closed 4403
phone X a u -> X closed 4403
gone M ->
mac X a u -> X closed 4403
phone P a t -> P {"mac":false}
mac M a t -> P {"mac":true} M {"active":0,"viewers":1}
mac N a t -> M closed 4000 N {"active":0,"viewers":1}
text N hello -> P hello
gone N -> P {"mac":false}
)");
}

TEST(Switchboard, PhonesWaitForAnUnknownMac) {
  Stage().plays(R"(
phone P a t ->
phone X a u ->
text P {"active":true} ->
text P ping -> P pong
wait 30 ->
phone R b t ->
wait 29 ->
mac M a t -> P {"mac":true} X closed 4403 M {"active":1,"viewers":1}
wait 30 ->
wait 1 -> R closed 1013
mac N b t -> N {"active":0,"viewers":0}
)");
}

TEST(Switchboard, AlertsWaitForTheFirstPhone) {
  Limits limits;
  limits.keptAlertsPerMac = 2;
  limits.keptAlertBytes = 20;
  limits.keptAlertTime = 60s;
  limits.keptBytes = 3 * (15 + 400);
  limits.records = 3;
  Stage(limits).plays(R"(
mac M a t -> M {"active":0,"viewers":0}
text M {"t":"a","i":1} ->
text M {"t":"s","i":2} ->
text M {"i":"a"} ->
text M "a" ->
text M {"t":"a","i":3} ->
text M {"t":"a","i":4} ->
text M {"t":"a","i":"too long"} ->
gone M ->
phone P a t -> P {"mac":false} P {"t":"a","i":3} P {"t":"a","i":4}
phone Q a t -> Q {"mac":false}
mac M a t -> P {"mac":true} Q {"mac":true} M {"active":0,"viewers":2}
text M {"t":"a","i":5} -> P {"t":"a","i":5} Q {"t":"a","i":5}
gone P -> M {"active":0,"viewers":1}
gone Q -> M {"active":0,"viewers":0}
text M {"t":"a","i":6} ->
wait 30 ->
text M {"t":"a","i":7} ->
wait 30 ->
phone P a t -> P {"mac":true} P {"t":"a","i":7} M {"active":0,"viewers":1}
gone P -> M {"active":0,"viewers":0}
mac N b t -> N {"active":0,"viewers":0}
text M {"t":"a","i":1} ->
text N {"t":"a","i":2} ->
text N {"t":"a","i":3} ->
text M {"t":"a","i":4} ->
phone Q b t -> Q {"mac":true} Q {"t":"a","i":2} Q {"t":"a","i":3} N {"active":0,"viewers":1}
phone P a t -> P {"mac":true} P {"t":"a","i":4} M {"active":0,"viewers":1}
gone P -> M {"active":0,"viewers":0}
text M {"t":"a","i":5} ->
gone M ->
mac O c t -> O {"active":0,"viewers":0}
mac O d t -> O {"active":0,"viewers":0}
mac M a u -> M closed 1013
gone O ->
mac M a u -> M {"active":0,"viewers":0}
phone P a u -> P {"mac":true} M {"active":0,"viewers":1}
)");
}

TEST(Switchboard, EverythingIsBounded) {
  Limits limits;
  limits.phonesPerMac = limits.heldPhones = limits.records = 2;
  limits.heldPhonesPerMac = 1;
  // An identifier in use is never forgotten; of the others, the longest unused goes first.
  Stage(limits).plays(R"(
phone P a t ->
phone Q a t -> Q closed 1013
phone R b t ->
phone S c t -> S closed 1013
gone R ->
mac M a t -> P {"mac":true} M {"active":0,"viewers":1}
phone R b t ->
phone S c t ->
phone T d t -> T closed 1013
gone R ->
gone S ->
phone Q a t -> Q {"mac":true} M {"active":0,"viewers":2}
phone R a t -> R closed 1013
gone M -> P {"mac":false} Q {"mac":false}
mac N b t -> N {"active":0,"viewers":0}
mac O c t -> O closed 1013
gone N ->
gone P ->
gone Q ->
mac O c t -> O {"active":0,"viewers":0}
mac X a u -> X closed 4403
mac M a t -> M {"active":0,"viewers":0}
mac N b u -> N closed 1013
gone M ->
mac N b u -> N {"active":0,"viewers":0}
)");
}

TEST(Session, TheFirstMessageIsAToken) {
  const std::string token = Stage::tokenText('t');
  const auto auth = [](const std::string& text) { return R"({"auth":")" + text + R"("})"; };
  for (const std::string message :
       {"text M ", "text M ping", "text M {}", R"(text M {"auth":1})"}) {
    Stage stage;
    stage.does("mac M a");
    EXPECT_EQ(stage.does(message), " M closed 4400") << message;
  }
  for (const std::string& text : {"[" + auth(token) + "]", auth(token) + "x", auth(token.substr(1)),
                                  auth(token + "="), auth(std::string(42, 'A') + "B"),
                                  auth(std::string(42, '+') + "8"), std::string(4000, '[')}) {
    Stage stage;
    stage.does("phone P a");
    EXPECT_EQ(stage.does("text P " + text), " P closed 4400") << text;
  }
  Stage stage;
  stage.does("mac M a");
  EXPECT_EQ(stage.does("binary M " + auth(token)), " M closed 4400");
}

TEST(Session, SilenceAndFloodsEndIt) {
  Stage stage;
  stage.plays(R"(
phone X a ->
wait 9 ->
mac M b t -> M {"active":0,"viewers":0}
phone P b t -> P {"mac":true} M {"active":0,"viewers":1}
wait 1 -> X closed 4400
wait 170 ->
text P ping -> P pong
wait 9 -> M closed 1013 P {"mac":false}
wait 170 ->
wait 1 -> P closed 1013
mac M b t -> M {"active":0,"viewers":0}
phone P b t -> P {"mac":true} M {"active":0,"viewers":1}
)");
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
