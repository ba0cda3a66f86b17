#include <gmock/gmock.h>

#include <array>
#include <numeric>
#include <set>
#include <thread>

#include "core/values/Base64.h"
#include "relay/SQLite.h"
#include "relay/SQLiteStore.h"
#include "relay/cluster/CopyToCluster.h"
#include "relay/cluster/NATSNeighbours.h"
#include "tests/relay/StoreTest.h"
#include "tests/support/NATSServer.h"

namespace orvik::relay {
namespace {

using test::NATSServer;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

template <typename Condition>
bool comesTrue(Condition condition) {
  const auto end = std::chrono::steady_clock::now() + 20s;
  while (std::chrono::steady_clock::now() < end) {
    if (condition()) {
      return true;
    }
    std::this_thread::sleep_for(5ms);
  }
  return false;
}

/// Says what no relay would.
struct Stranger final : NATSConnection::Receiver {
  explicit Stranger(const std::string& url) : connection({url}, 1 << 20, *this) {
    connection.start();
  }
  void connected() override {}
  void lost(const std::string&) override {}
  void received(std::string_view, std::string_view, bool) override {}
  void tick() override {}
  NATSConnection connection;
};

/// A relay's store on an engine of one server that comes and goes.
class JetStreamStoreTest : public StoreTest {
 protected:
  void SetUp() override {
    if (NATSServer::program().empty()) {
      GTEST_SKIP() << "there is no nats-server";
    }
    server = std::make_unique<NATSServer>(NATSServer::jetStream());
    settings = {.connection = {server->url()}, .replicas = 1};
    reopen();
  }
  void TearDown() override { store.reset(); }

  std::unique_ptr<RecordStore> opened(Log log) override {
    return std::make_unique<JetStreamStore>(settings, limits, clock, log);
  }

  bool healthBecomes(StoreState::Health health) {
    return comesTrue([&] { return store->state().health == health; });
  }

  std::unique_ptr<NATSServer> server;
  JetStreamStore::Settings settings;
};

TEST_F(JetStreamStoreTest, SaysWhatItCannotDoAndRecovers) {
  using enum StoreState::Health;
  claim('a', 't');
  EXPECT_TRUE(keep('a', 't', 1));
  server->kill();
  EXPECT_FALSE(keep('a', 't', 2));
  EXPECT_TRUE(std::holds_alternative<StoreUnavailable>(find('a')));
  EXPECT_TRUE(healthBecomes(failing));
  server->start();
  EXPECT_TRUE(claimOnceItWorks('b', 't'));
  EXPECT_THAT(numbers('a'), ElementsAre(1));
  EXPECT_TRUE(keep('a', 't', 2));
  EXPECT_THAT(takeLog(), testing::MatchesRegex("the cluster's store is failing \\([^\n]+\\): no "
                                               "alert [^\n]+\n([^\n]+failing[^\n]+\n)*the "
                                               "cluster's store works again\n"));
  struct Case {
    const char* configuration;
    const char* words;
  };
  const std::string secret = "authorization { user: u, password: secret }\n";
  for (const auto& [configuration, words] :
       {std::pair(std::string("max_payload: 1MB\n"), "JetStream"),
        std::pair("max_payload: 128KB\n" + NATSServer::jetStream(), "max_payload"),
        std::pair(secret + NATSServer::jetStream(), "Authorization")}) {
    server->kill();
    server->start(configuration);
    EXPECT_TRUE(comesTrue([&, text = words] {
      return store->state().why.find(text) != std::string::npos;
    })) << store->state().why;
    EXPECT_FALSE(keep('a', 't', 3));
  }
  settings.connection.addresses = server->url("u:secret@");
  reopen();
  EXPECT_THAT(numbers('a'), ElementsAre(1, 2));
  // What is there is not taken for another's.
  settings.name = "other";
  settings.replicas = 3;
  reopen();
  EXPECT_TRUE(healthBecomes(failing));
  EXPECT_THAT(store->state().why, HasSubstr("--cluster-replicas"));
  EXPECT_THAT(takeLog(), testing::Not(HasSubstr("secret")));
}

TEST_F(JetStreamStoreTest, SharesRecordsWithOtherRelays) {
  const auto other = opened([](const std::string&) {});
  // Both claim at once, again and again: there is one owner.
  for (char name = 'a'; name <= 'z'; ++name) {
    std::promise<Claimed> theirs;
    other->claim(identifier(name), token('u'),
                 [&theirs](Claimed given) { theirs.set_value(std::move(given)); });
    const Claimed mine = claim(name, 't');
    const Claimed of = theirs.get_future().get();
    ASSERT_TRUE(mine && of) << takeLog() << other->state().why;
    EXPECT_TRUE(mine->owner == of->owner);
  }
  // Both keep alerts of one Mac; none is lost, and one that both have is there once.
  claim('0', 't');
  std::vector<std::future<bool>> kept;
  for (std::uint64_t number = 1; number <= 8; ++number) {
    const auto promise = std::make_shared<std::promise<bool>>();
    kept.push_back(promise->get_future());
    const KeptAlert alert{number, epochSeconds(clock->unixNow()),
                          framedText(R"({"t":"a","i":)" + std::to_string(number / 2) + "}")};
    (number % 2 == 0 ? *store : *other)
        .keep(identifier('0'), token('t'), alert,
              [promise](bool isSafe) { promise->set_value(isSafe); });
  }
  for (auto& each : kept) {
    EXPECT_TRUE(each.get());
  }
  EXPECT_EQ(numbers('0').size(), 5U);
  // Two that do not hear each other give one number twice.
  claim('1', 't');
  EXPECT_TRUE(keep('1', 't', 7) && keep('1', 't', 7, 1) && keep('1', 't', 7));
  EXPECT_THAT(numbers('1'), ElementsAre(7, 8));
  EXPECT_FALSE(keep('0', 'u', 9));
  // What none of them has written is left as it is.
  Stranger stranger(server->url());
  const std::string subject = "orvik.record." + base64URL(identifier('0'));
  EXPECT_TRUE(comesTrue([&] { return stranger.connection.send({subject, "none"}); }));
  EXPECT_TRUE(comesTrue([&] { return !keep('0', 't', 10); }));
  EXPECT_THAT(takeLog(), HasSubstr(subject + " is refused"));
}

TEST_F(JetStreamStoreTest, IsFullBeforeItForgets) {
  server->kill();
  server->start(NATSServer::jetStream("max_file_store: 1MB"));
  EXPECT_TRUE(claimOnceItWorks('a', 't'));
  std::uint64_t number = 0;
  for (char name = 'a'; name <= 'z' && keep(name, 't', ++number, 3000);) {
    name = static_cast<char>(name + (number % 20 == 0 ? 1 : 0));
  }
  EXPECT_GT(number, 100U);
  EXPECT_EQ(store->state().health, StoreState::Health::full);
  EXPECT_EQ(numbers('a').size(), 20U) << "it can still be read, and nobody's alerts go";
  server->kill();
  server->start(NATSServer::jetStream("max_file_store: 10MB"));
  EXPECT_TRUE(healthBecomes(StoreState::Health::available));
  EXPECT_TRUE(claimOnceItWorks('0', 't'));
  EXPECT_EQ(numbers('a').size(), 20U);
}

TEST_F(JetStreamStoreTest, CopiesAFile) {
  const test::TemporaryFolder folder;
  const auto file = folder.path / "relay.sqlite";
  const auto cluster = std::exchange(store, nullptr);
  store = std::make_unique<SQLiteStore>(file, limits, clock, [](const std::string&) {});
  for (const char name : {'a', 'b', 'c', 'd'}) {
    claim(name, 't');
    EXPECT_TRUE(keep(name, 't', 7));
    EXPECT_TRUE(subscribe(name, 't', "one"));
  }
  store = opened([](const std::string&) {});
  claim('b', 'u');
  EXPECT_TRUE(keep('c', 't', 6));
  Stranger stranger(server->url());
  EXPECT_TRUE(comesTrue([&] {
    return stranger.connection.send({"orvik.record." + base64URL(identifier('d')), "none"});
  }));
  EXPECT_TRUE(comesTrue([&] { return !keep('d', 't', 1); }));
  for (int times = 0; times < 2; ++times) {
    const Copy copy = copyToCluster(file, settings, limits, clock, [](const std::string&) {});
    EXPECT_EQ(copy.there, 2U);
    EXPECT_EQ(copy.ofOthers, 1U);
    EXPECT_EQ(copy.leftOut, 1U);
    EXPECT_THAT(numbers('a'), ElementsAre(7));
    EXPECT_EQ(subscriptions('a'), " one4");
    EXPECT_THAT(numbers('b'), IsEmpty());
    EXPECT_THAT(numbers('c'), ElementsAre(6, 7));
  }
  // Where only one of those that are copied at once cannot be read.
  SQLite(file, 1s).execute("UPDATE records SET owner = x'00' WHERE identifier >= x'63'");
  for (const auto& other : {file, folder.path / "absent"}) {
    EXPECT_THROW(copyToCluster(other, settings, limits, clock, {}), std::runtime_error);
  }
}

/// Answers in place of an engine with JetStream: a stream that is as its settings say and has no
/// record, and what is said to all that is written.
class Impostor {
 public:
  explicit Impostor(const std::string& url) {
    natsConnection* made = nullptr;
    EXPECT_EQ(natsConnection_ConnectTo(&made, url.c_str()), NATS_OK);
    connection.reset(made);
    for (std::size_t i = 0; i < subscriptions.size(); ++i) {
      natsSubscription* to = nullptr;
      const char* const subject = i == 0 ? "$JS.API.>" : "orvik.record.*";
      EXPECT_EQ(natsConnection_Subscribe(&to, made, subject, answer, this), NATS_OK);
      subscriptions[i].reset(to);
    }
    EXPECT_EQ(natsConnection_Flush(made), NATS_OK);
  }
  ~Impostor() {
    for (const auto& each : subscriptions) {
      natsSubscription_Drain(each.get());
      natsSubscription_WaitForDrainCompletion(each.get(), 5000);
    }
  }
  void set(const std::string& config, const std::string& word, bool doesCompare = true) {
    const std::lock_guard guard(mutex);
    settings = config;
    written = word;
    compares = doesCompare;
  }

 private:
  static void answer(natsConnection* on, natsSubscription*, natsMsg* message, void* self) {
    auto& own = *static_cast<Impostor*>(self);
    const std::string subject = natsMsg_GetSubject(message);
    const std::lock_guard guard(own.mutex);
    const char* after = nullptr;
    natsMsgHeader_Get(message, "Nats-Expected-Last-Subject-Sequence", &after);
    const char* name = nullptr;
    natsMsgHeader_Get(message, "Nats-Msg-Id", &name);
    const std::string text =
        !own.compares && name != nullptr && !own.names.insert(name).second
            ? R"({"stream":"orvik","seq":1,"duplicate":true})"
        : own.compares && after != nullptr && std::string(after).size() > 18
            ? R"({"error":{"code":400,"err_code":10071}})"
        : subject.find("INFO") != std::string::npos ? "{\"config\":{" + own.settings + "}}"
        : subject.find("GET") != std::string::npos  ? R"({"error":{"code":404,"err_code":10037}})"
                                                    : own.written;
    natsConnection_PublishString(on, natsMsg_GetReply(message), text.c_str());
    natsMsg_Destroy(message);
  }

  std::mutex mutex;
  std::string settings;
  std::string written;
  bool compares = true;
  std::set<std::string> names;
  CHandle<natsConnection, natsConnection_Destroy> connection;
  std::array<CHandle<natsSubscription, natsSubscription_Destroy>, 2> subscriptions;
};

TEST_F(JetStreamStoreTest, BelievesOnlyAStreamThatKeepsRecords) {
  server->kill();
  server->start("max_payload: 1MB\n");
  const std::string fit =
      R"("subjects":["orvik.record.*"],"max_msgs_per_subject":1,"storage":"file",)"
      R"("retention":"limits","discard":"new","max_age":15552000000000000,"num_replicas":1,)"
      R"("duplicate_window":3000000000)";
  const std::string word = R"({"stream":"orvik","seq":1})";
  Impostor impostor(server->url());
  impostor.set(fit, word);
  EXPECT_TRUE(claimOnceItWorks('a', 't'));
  for (const char* const other :
       {"", "no", "{}", R"({"stream":"orvik"})", R"({"seq":1})", R"({"stream":"other","seq":1})",
        R"({"stream":"orvik","seq":0})"}) {
    impostor.set(fit, other);
    EXPECT_FALSE(keep('a', 't', 1)) << other;
  }
  for (const auto& [setting, unfit] :
       {std::pair("storage", R"("storage":"memory")"), std::pair("discard", R"("discard":"old")"),
        std::pair("retention", R"("retention":"interest")"),
        std::pair("max_age", R"("max_age":1000000000)"),
        std::pair("num_replicas", R"("num_replicas":0)"),
        std::pair("duplicate_window", R"("duplicate_window":120000000000)"),
        std::pair("no_ack", R"("duplicate_window":3000000000,"no_ack":true)")}) {
    const std::string member = std::string(unfit).substr(0, std::string(unfit).find(':'));
    const std::size_t start = fit.find(member);
    const std::size_t end = std::min(fit.find(',', start), fit.size());
    impostor.set(std::string(fit).replace(start, end - start, unfit), word);
    EXPECT_TRUE(healthBecomes(StoreState::Health::unknownFormat)) << setting;
    EXPECT_THAT(store->state().why, testing::EndsWith(std::string(": ") + setting));
    impostor.set(fit, word);
    EXPECT_TRUE(healthBecomes(StoreState::Health::available));
  }
  impostor.set(fit, word, false);
  for (int times = 0; times < 2; ++times) {
    reopen();
    EXPECT_TRUE(healthBecomes(StoreState::Health::unknownFormat));
    EXPECT_THAT(store->state().why, HasSubstr("too old"));
  }
}

/// Writes down what it hears.
struct Hearer final : NeighbourListener {
  void heard(const Identifier& identifier, RelayID, std::string_view message) override {
    add(std::string(1, static_cast<char>(identifier[0])) + ":" + std::string(message));
  }
  void gone(RelayID) override { add("gone"); }
  void missed(RelayID) override { add("missed"); }
  void cutOff() override { add("cut"); }
  void back() override { add("back"); }
  void add(const std::string& what) {
    const std::lock_guard guard(mutex);
    all += what + " ";
  }
  bool hears(const std::string& what, int times = 1) {
    return comesTrue([&] {
      const std::lock_guard guard(mutex);
      int count = 0;
      for (std::size_t at = 0; (at = all.find(what, at)) != std::string::npos; ++at) {
        ++count;
      }
      return count >= times;
    });
  }
  std::string take() {
    const std::lock_guard guard(mutex);
    return std::exchange(all, {});
  }
  std::mutex mutex;
  std::string all;
};

TEST(NATSNeighboursTest, HearEachOther) {
  if (NATSServer::program().empty()) {
    GTEST_SKIP() << "there is no nats-server";
  }
  NATSServer server("max_payload: 2MB\n");
  Limits limits;
  limits.heartbeatInterval = 200ms;
  limits.neighbourTime = 1s;
  const auto clock = std::make_shared<SetClock>();
  Identifier a{};
  a.fill('a');
  Identifier b{};
  b.fill('b');
  Hearer first;
  Hearer second;
  const auto log = [&first](const std::string& line) { first.add(line); };
  const NATSNeighbours::Settings settings{{server.url()}};
  NATSNeighbours one(settings, limits, clock, first, log);
  auto two = std::make_unique<NATSNeighbours>(settings, limits, clock, second, log);
  EXPECT_TRUE(first.hears("back") && second.hears("back"));
  EXPECT_TRUE(comesTrue([&] { return one.state().relays == 1; }));
  one.join(a);
  one.tell(a, "ready");
  two->join(a);
  two->join(b);
  // Until the engine knows that the other has joined, what is told is lost.
  EXPECT_TRUE(comesTrue([&] {
    two->tell(a, "hello");
    one.tell(a, "hi");
    one.tell(b, "there");
    return first.take().find("a:hello") != std::string::npos;
  }));
  EXPECT_TRUE(second.hears("a:hi b:there"));
  two->tell(b, "none");
  Stranger stranger(server.url());
  EXPECT_TRUE(comesTrue([&] { return stranger.connection.state().isConnected; }));
  for (const char* const text : {"", "0123", "012345678901234zhello"}) {
    stranger.connection.send({"orvik.at." + std::string(22, 'Y'), text});
    stranger.connection.send({"orvik.relays", text});
  }
  // A sign of life that is missing, and the first of another connection: others' words may be, too.
  const std::string third = "00000000000000c3";
  for (const char* const sign : {"7", "8", "10", "11", "0", "x", "1 K"}) {
    stranger.connection.send({"orvik.relays", third + sign});
  }
  EXPECT_TRUE(first.hears("missed back", 2) && second.hears("missed back", 2));
  EXPECT_TRUE(first.hears("pushes with another key"));
  two->tell(a, "last");
  EXPECT_TRUE(first.hears("a:last"));
  EXPECT_THAT(first.take(), testing::Not(HasSubstr("none")));
  // The engine goes and comes: both hear each other again without a word of theirs.
  server.kill();
  EXPECT_TRUE(first.hears("cut"));
  server.start();
  EXPECT_TRUE(first.hears("back") && second.hears("back"));
  EXPECT_TRUE(comesTrue([&] {
    two->tell(a, "again");
    return first.take().find("a:again") != std::string::npos;
  }));
  two.reset();
  EXPECT_TRUE(first.hears("gone"));
  EXPECT_EQ(one.state().relays, 0U);
}

}  // namespace
}  // namespace orvik::relay
