#include <boost/asio/post.hpp>
#include <gmock/gmock.h>

#include <fstream>
#include <limits>
#include <map>
#include <sstream>

#include "core/values/Base64.h"
#include "relay/MemoryStore.h"
#include "relay/Session.h"
#include "tests/support/ManualClock.h"

namespace orvik::relay {
namespace {

using namespace std::chrono_literals;

/// What a store does to those who ask, over one that works. Calls what it keeps safe, too.
class ShakyStore final : public RecordStore {
 public:
  ShakyStore(const Limits& limits, const std::shared_ptr<Clock>& clock) : inner(limits, clock) {}

  void find(const Identifier& identifier, std::function<void(Found)> then) override {
    fails() ? answer(then, Found(StoreUnavailable())) : inner.find(identifier, [&](Found found) {
      if (auto* const record = std::get_if<Record>(&found)) {
        record->lastNumber += isAhead ? 1000U : 0U;
      }
      answer(then, std::move(found));
    });
  }
  void claim(const Identifier& identifier, const TokenHash& token,
             std::function<void(Claimed)> then) override {
    fails() ? answer(then, Claimed())
            : inner.claim(identifier, token, [&](Claimed now) { answer(then, std::move(now)); });
  }
  void keep(const Identifier& identifier, const TokenHash& owner, KeptAlert alert,
            std::function<void(bool isSafe)> then) override {
    const bool isSafe = !fails();
    if (isSafe) {
      inner.keep(identifier, owner, std::move(alert), [](bool) {});
    }
    answer(then, isSafe);
  }
  void revoke(const Identifier& identifier, const TokenHash& owner,
              std::function<void(bool isRevoked)> then) override {
    fails() ? answer(then, false)
            : inner.revoke(identifier, owner, [&](bool isRevoked) { answer(then, isRevoked); });
  }
  void markTaken(const Identifier& identifier, std::uint64_t number) override {
    if (!fails()) {
      inner.markTaken(identifier, number);
    }
  }
  void subscribe(const Identifier& identifier, const TokenHash& owner, Subscription subscription,
                 std::function<void(bool isKept)> then) override {
    fails() ? answer(then, false)
            : inner.subscribe(identifier, owner, std::move(subscription),
                              [&](bool isKept) { answer(then, isKept); });
  }
  void unsubscribe(const Identifier& identifier, const std::string& endpoint) override {
    if (!fails()) {
      inner.unsubscribe(identifier, endpoint);
    }
  }
  [[nodiscard]] bool isDurable() const noexcept override { return isCalledDurable; }
  [[nodiscard]] StoreState state() const override {
    StoreState state;
    state.health = isDown ? StoreState::Health::failing : StoreState::Health::available;
    return state;
  }

  void giveAnswers() {
    for (const auto& give : std::exchange(held, {})) {
      give();
    }
  }

  bool isCalledDurable = true;
  bool isDown = false;
  bool isHolding = false;
  bool isHoldingOne = false;
  /// Leaves out numbers, as a store does whose last ones may have been lost.
  bool isAhead = false;
  /// The call that fails, counted from 0.
  std::size_t failing = std::numeric_limits<std::size_t>::max();
  std::size_t calls = 0;

 private:
  bool fails() { return calls++ == failing || isDown; }
  template <typename Answer>
  void answer(const std::function<void(Answer)>& then, Answer given) {
    if (std::exchange(isHoldingOne, false) || isHolding) {
      held.push_back([then, given] { then(given); });
    } else {
      then(std::move(given));
    }
  }

  MemoryStore inner;
  std::vector<std::function<void()>> held;
};

/// Says what it is to push, and serves all hosts but one.
struct ToldPusher final : Pusher {
  [[nodiscard]] const std::string& publicKey() const override { return key; }
  [[nodiscard]] bool serves(const Subscription& subscription) const override {
    return !subscription.endpoint.starts_with("https://other");
  }
  void push(const PushedAlert& alert, const std::vector<Subscription>& to) override {
    told += " pushed " + std::to_string(alert.number) + alert.topic + (alert.isUrgent ? "!" : "");
    for (const Subscription& subscription : to) {
      told += " " + subscription.endpoint.substr(8);
    }
  }
  void forget(const Identifier&, const std::string& endpoint) override {
    told += " forgot " + endpoint.substr(8);
  }
  void leftOut(std::size_t count) override { told = " left out " + std::to_string(count); }

  const std::string key = "K";
  std::string told;
};

/// What switchboards tell each other, delivered when the test says so.
class Bus {
 public:
  struct Node final : Neighbours {
    Node(Bus& on, RelayID id) : bus(on), number(id) {}
    [[nodiscard]] RelayID self() const noexcept override { return number; }
    void join(const Identifier& identifier) override {
      EXPECT_TRUE(joined.insert(identifier).second);
    }
    void leave(const Identifier& identifier) override { EXPECT_EQ(joined.erase(identifier), 1); }
    void tell(const Identifier& identifier, std::string_view message) override {
      if (!isCut && (bus.losing.empty() || message.find(bus.losing) == std::string_view::npos)) {
        bus.queue.push_back({number, identifier, std::string(message)});
        ++bus.told;
      }
    }
    Bus& bus;
    const RelayID number;
    bool isCut = false;
    std::set<Identifier> joined{};
    NeighbourListener* listener = nullptr;
  };

  /// False when there was nothing.
  bool deliver() {
    const auto messages = std::exchange(queue, {});
    for (const auto& [from, identifier, text] : messages) {
      for (Node* const node : nodes) {
        if (node->number != from && !node->isCut && node->joined.contains(identifier)) {
          node->listener->heard(identifier, from, text);
        }
      }
    }
    return !messages.empty();
  }

  std::vector<Node*> nodes;
  std::size_t told = 0;
  /// What no message arrives with.
  std::string losing;

 private:
  struct Message {
    RelayID from;
    Identifier identifier;
    std::string text;
  };
  std::vector<Message> queue;
};

/// How clients stand around switchboards: a name ends in the number of its relay, or has it by its
/// letter and `turn`.
struct Spread {
  std::size_t relays = 1;
  std::size_t turn = 0;
  /// Whether what relays say is faster than the store.
  bool isBusFirst = false;
};

/// Macs and phones around switchboards, acting on the commands of fixtures/relay/switchboard.txt.
class Stage {
 public:
  explicit Stage(const Limits& bounds = {}, bool isDurable = false, const Spread& over = {})
      : limits(bounds), spread(over), clock(clockAtZero(context)), store(limits, clock) {
    store.isCalledDurable = isDurable;
    for (RelayID number = 1; number <= spread.relays; ++number) {
      relays.push_back(std::make_unique<Relay>(*this, number));
    }
  }

  std::string does(const std::string& command) {
    told.clear();
    if (spread.relays > 1) {
      // Nothing happens at once.
      clock->advance(std::chrono::milliseconds(1));
    }
    std::istringstream words(command);
    std::string verb;
    std::string name;
    words >> verb >> name >> std::ws;
    if (verb == "store") {
      store.isDown = name == "fails";
      store.isHolding = name == "holds" || name == "answers";
      store.isHoldingOne = name == "holds-one";
      store.isAhead = name == "ahead";
      store.giveAnswers();
    } else if (verb == "wait") {
      clock->advance(std::chrono::seconds(std::stoi(name)));
      for (const auto& relay : relays) {
        relay->switchboard.expire(clock->now());
      }
      for (auto& [key, actor] : actors) {
        actor->session.check(clock->now());
      }
    } else if (verb == "cut") {
      // As it is noticed: this one hears nobody, and the others nothing of it.
      relayOf(name).node.isCut = true;
      eachOther(name, [&](Switchboard& other) { other.gone(relayOf(name).node.number); });
      relayOf(name).switchboard.cutOff();
    } else if (verb == "heal") {
      relayOf(name).node.isCut = false;
      for (const auto& relay : relays) {
        relay->switchboard.back();
        relay->switchboard.expire(clock->now());
      }
    } else if (verb == "deaf") {
      // Not noticed.
      relayOf(name).node.isCut = true;
    } else if (verb == "hearing") {
      relayOf(name).node.isCut = false;
    } else if (verb == "hears") {
      Identifier identifier{};
      identifier.fill('a');
      std::string text;
      std::getline(words, text);
      relayOf(name).switchboard.heard(identifier, 99, text);
    } else if (verb == "loses") {
      bus.losing = name;
    } else if (verb == "kill") {
      std::erase_if(actors,
                    [&](const auto& actor) { return &actor.second->relay == &relayOf(name); });
      const RelayID killed = relayOf(name).node.number;
      const std::size_t place = placeOf(name);
      std::erase(bus.nodes, &relays[place]->node);
      relays[place] = std::make_unique<Relay>(*this, killed + 10);
      eachOther(name, [&](Switchboard& other) { other.gone(killed); });
    } else if (verb == "gone" || verb == "lost") {
      actors.at(name)->isClosed = true;
      actors.at(name)->isLost = verb == "lost";
    } else if (verb == "pushing") {
      for (const auto& relay : relays) {
        relay->switchboard.pushBy(pusher);
      }
    } else if (verb == "gone-endpoint") {
      Identifier identifier{};
      identifier.fill('a');
      relayOf("").switchboard.endpointGone(identifier, name);
    } else if (verb == "subscribe") {
      // RFC 8291, appendix A.
      std::string endpoint;
      std::string replaces;
      words >> endpoint >> replaces;
      actors.at(name)->says(
          R"({"subscribe":{"endpoint":")" + endpoint + R"(","replaces":")" + replaces +
          R"(","p256dh":"BCVxsr7N_eNgVRqvHtD0zTZsEc6-VV-JvLexhqUzORcxaOzi6-AYWXvTBHm4bjyPjs7Vd8pZGH)"
          R"(6SRpkNtoIAiw4","auth":"BTBZMqHH6r4Tts7J_aSIgg"}})");
    } else if (verb == "text" || verb == "binary") {
      std::string text;
      std::getline(words, text);
      actors.at(name)->says(text, verb == "text");
    } else {
      char identifier = 0;
      char token = 0;
      std::string last;
      words >> identifier >> token >> last;
      Target target{verb == "mac" ? Target::Role::mac : Target::Role::phone, {}};
      target.identifier.fill(static_cast<std::uint8_t>(identifier));
      if (actors.contains(name)) {
        actors.at(name)->session.ended(clock->now(), false);
      }
      Actor& actor = *(actors[name] = std::make_unique<Actor>(*this, name, target));
      if (token != 0) {
        const Bytes bytes(TokenHash::tokenSize, static_cast<std::uint8_t>(token));
        actor.says(R"({"x":[],"auth":")" + base64URL(bytes) + '"' +
                   (last.empty() ? "" : R"(,"last":)" + last) + "}");
      }
    }
    settle();
    removeClosed();
    settle();
    return told + std::exchange(pusher.told, {});
  }

  /// Plays what stands below this heading.
  void plays(const std::string& heading) {
    std::ifstream lines(ORVIK_FIXTURES "/relay/switchboard.txt");
    std::string line;
    while (std::getline(lines, line) && line != "## " + heading) {
    }
    ASSERT_TRUE(lines) << heading;
    while (std::getline(lines, line) && !line.empty()) {
      const std::size_t arrow = line.find(" ->");
      if (line.starts_with('#') || (line.starts_with("alone ") && spread.relays > 1)) {
        continue;
      }
      const std::size_t start = line.starts_with("alone ") ? 6 : 0;
      const std::string is = does(line.substr(start, arrow - start));
      EXPECT_EQ(byActor(is), byActor(line.substr(arrow + 3)))
          << line << " (" << spread.relays << " relays, turn " << spread.turn << ", bus "
          << spread.isBusFirst << ")";
    }
  }

 private:
  /// So that the first alert has the number 1.
  static std::shared_ptr<test::ManualClock> clockAtZero(asio::io_context& context) {
    auto clock = std::make_shared<test::ManualClock>(context);
    clock->unixStart = Clock::UnixTime(-clock->now().time_since_epoch());
    return clock;
  }

  struct Relay {
    Relay(Stage& on, RelayID number)
        : node(on.bus, number),
          switchboard(
              on.limits, on.store,
              [&on](std::function<void()> call) { asio::post(on.context, std::move(call)); },
              [&on] { return epochSeconds(on.clock->unixNow()); }) {
      if (on.spread.relays > 1) {
        switchboard.joinNeighbours(node, [&on] { return on.clock->now(); });
        node.listener = &switchboard;
        on.bus.nodes.push_back(&node);
      }
    }
    Bus::Node node;
    Switchboard switchboard;
  };

  struct Actor final : Peer {
    Actor(Stage& on, const std::string& called, const Target& target)
        : stage(on),
          name(called),
          relay(on.relayOf(called)),
          session(target, *this, relay.switchboard, on.limits, on.clock->now()) {}
    void says(const std::string& text, bool isText = true) {
      session.received(isText, framedText(text), stage.clock->now());
    }
    void send(SharedText text) override {
      stage.told += " " + name + " " + std::string(text->text());
    }
    void close(CloseReason reason) override {
      if (!std::exchange(isClosed, true)) {
        stage.told += " " + name + " closed " + std::to_string(rowOf(reason).code);
      }
    }
    bool mayClaim() override { return name != "Z"; }
    Stage& stage;
    const std::string name;
    Relay& relay;
    Session session;
    bool isClosed = false;
    bool isLost = false;
  };

  [[nodiscard]] std::size_t placeOf(const std::string& name) const {
    const auto last = static_cast<std::size_t>(name.empty() ? 'A' : name.back());
    const std::size_t place = last >= '1' && last <= '9' ? last - '1' : last + spread.turn;
    return place % relays.size();
  }
  Relay& relayOf(const std::string& name) { return *relays[placeOf(name)]; }
  template <typename Call>
  void eachOther(const std::string& name, Call call) {
    for (const auto& relay : relays) {
      if (relay.get() != &relayOf(name) && !relay->node.isCut) {
        call(relay->switchboard);
      }
    }
  }

  void settle() {
    do {
      while (spread.isBusFirst && bus.deliver()) {
      }
      clock->settle();
    } while (bus.deliver());
  }

  /// Over several relays nobody knows in which order clients of different ones hear something, and
  /// a state may take two steps to the last one, or to the end.
  [[nodiscard]] std::string byActor(const std::string& all) const {
    if (spread.relays == 1) {
      return all;
    }
    std::map<std::string, std::vector<std::string>> heard;
    std::istringstream words(all);
    std::string actor;
    for (std::string word; words >> word;) {
      const bool isName = word.size() <= 2 && word.front() >= 'A' && word.front() <= 'Z';
      if (isName || word == "pushed" || word == "left") {
        actor = word;
        heard[actor];
        continue;
      }
      for (const char* state : {R"({"mac")", R"({"active")"}) {
        if (word.starts_with(state)) {
          heard[actor + state] = {std::exchange(word, "")};
        }
      }
      if (!word.empty()) {
        heard[actor].push_back(word);
      }
    }
    std::erase_if(heard, [&](const auto& state) {
      const auto client = heard.find(state.first.substr(0, state.first.find('{')));
      return client->first != state.first && std::ranges::count(client->second, "closed") > 0;
    });
    std::string sorted;
    for (const auto& [name, what] : heard) {
      sorted += " " + name;
      for (const std::string& each : what) {
        sorted += " " + each;
      }
    }
    return sorted;
  }

  void removeClosed() {
    std::erase_if(actors, [this](const auto& entry) {
      if (entry.second->isClosed) {
        entry.second->session.ended(clock->now(), entry.second->isLost);
      }
      return entry.second->isClosed;
    });
  }

  const Limits limits;
  const Spread spread;
  asio::io_context context;
  const std::shared_ptr<test::ManualClock> clock;

 public:
  ShakyStore store;

 private:
  ToldPusher pusher;
  Bus bus;
  std::vector<std::unique_ptr<Relay>> relays;
  std::string told;
  std::map<std::string, std::unique_ptr<Actor>> actors;
};

/// On one relay, and with the clients spread over several in every way.
void plays(const Limits& limits, bool isDurable, const std::vector<std::string>& headings) {
  for (const std::string& heading : headings) {
    Stage(limits, isDurable).plays(heading);
    for (std::size_t run = 0; run < 10; ++run) {
      const std::size_t count = run < 4 ? 2 : 3;
      Stage(limits, isDurable, {count, run / 2, run % 2 == 1}).plays(heading);
    }
  }
}

TEST(Switchboard, TellsWhomItConcerns) {
  plays({}, false,
        {"presence and forwarding", "the first token owns the identifier",
         "not everybody may claim", "phones wait for an unknown Mac"});
}

TEST(Switchboard, EverythingIsBounded) {
  Limits limits;
  limits.keptAlertsPerMac = 2;
  limits.keptAlertBytes = 20;
  limits.untakenAlertTime = 60s;
  plays(limits, false, {"alerts wait for the first phone"});
  limits.phonesPerMac = limits.heldPhones = limits.records = 2;
  limits.heldPhonesPerMac = 1;
  Stage(limits).plays("everything is bounded");
}

TEST(Switchboard, NumbersAlertsAndSaysWhatIsSafe) {
  Limits limits;
  limits.keptAlertsPerMac = 3;
  limits.keptAlertTime = 60s;
  plays(limits, true, {"phones count alerts", "a burst is safe as it is kept"});
  limits.keptAlertsPerMac = 20;
  limits.waitingMessages = 2;
  limits.revocations = 1;
  // Each relay asks the store for itself, and has to be answered.
  for (const char* heading :
       {"nothing is safe before the store says so", "the store fails", "a pairing is revoked"}) {
    Stage(limits, true).plays(heading);
  }
}

TEST(Switchboard, PushesToPhonesThatAreNotLooking) {
  Limits limits;
  limits.subscriptionsPerMac = 3;
  limits.pushes = {0.1, 4};
  limits.repeatTime = 0s;
  plays(limits, true, {"alerts are pushed"});
  Stage(limits, true).plays("subscriptions come and go");
  limits.idleTime = std::chrono::years(1);
  Stage(limits, true).plays("a subscription that nobody uses is forgotten while its Mac stays");
  // However many a phone names, so many are kept and none is forgotten for them.
  Stage stage;
  stage.does("pushing");
  stage.does("mac M a t");
  stage.does("phone P a t");
  std::size_t kept = 0;
  for (std::size_t i = 0; i < 10'000; ++i) {
    const std::string told = stage.does("subscribe P https://push/" + std::to_string(i));
    kept += told.find(R"({"subscribed":)") == std::string::npos ? 0U : 1U;
    if (i % 2 == 1) {
      stage.does("wait 1");
      stage.does("text M ping");
    }
  }
  EXPECT_EQ(kept, Limits().subscriptionsPerMac);
}

TEST(Switchboard, ServesAMacWithOtherRelays) {
  for (const bool isBusFirst : {false, true}) {
    for (const char* heading :
         {"relays lose each other", "a computer moves with what is not kept",
          "both sides of a cut have a Mac", "one relay pushes for all",
          "what one relay has pushed no other pushes",
          "what was on its way to a phone that looked is pushed",
          "what the store says of other relays", "one comes before the other can hear it"}) {
      Stage({}, true, {3, 0, isBusFirst}).plays(heading);
    }
  }
}

TEST(Switchboard, LosesNothingSafeWhicheverCallFails) {
  for (std::size_t failing = 0, calls = 1; failing <= calls; ++failing) {
    Stage stage({}, true);
    stage.store.failing = failing;
    std::string mac;
    // Comes again, as clients do, and goes on where it was.
    while (mac.find("viewers") == std::string::npos) {
      mac = stage.does("mac M a t");
    }
    for (const char* alert : {"1", "2", "3"}) {
      mac += stage.does(std::string(R"(text M {"t":"a","i":)") + alert + "}");
    }
    mac += stage.does("wait 1");
    EXPECT_THAT(mac, testing::HasSubstr(R"({"safe":3})")) << failing;
    stage.does("gone M");
    std::string phone;
    while (phone.find("mac") == std::string::npos) {
      phone = stage.does("phone P a t 0");
    }
    EXPECT_EQ(phone, R"( P {"mac":false} P {"alert":1} P {"t":"a","i":1})"
                     R"( P {"alert":2} P {"t":"a","i":2} P {"alert":3} P {"t":"a","i":3})")
        << failing;
    calls = stage.store.calls;
  }
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
