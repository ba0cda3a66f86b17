#include <gmock/gmock.h>

#include <numeric>
#include <thread>

#include "relay/SQLiteStore.h"
#include "relay/cluster/JetStreamStore.h"
#include "tests/relay/StoreTest.h"
#include "tests/support/NATSServer.h"

namespace orvik::relay {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// A file, or an engine that has one server.
class Place {
 public:
  virtual ~Place() = default;
  virtual std::unique_ptr<RecordStore> opened(const Limits& limits, std::shared_ptr<Clock> clock,
                                              std::function<void(const std::string&)> log) = 0;
};

struct File final : Place {
  std::unique_ptr<RecordStore> opened(const Limits& limits, std::shared_ptr<Clock> clock,
                                      std::function<void(const std::string&)> log) override {
    return std::make_unique<SQLiteStore>(folder.path / "relay.sqlite", limits, clock, log);
  }
  test::TemporaryFolder folder;
};

struct Engine final : Place {
  std::unique_ptr<RecordStore> opened(const Limits& limits, std::shared_ptr<Clock> clock,
                                      std::function<void(const std::string&)> log) override {
    return std::make_unique<JetStreamStore>(
        JetStreamStore::Settings{.connection = {server.url()}, .replicas = 1}, limits, clock, log);
  }
  test::NATSServer server{test::NATSServer::jetStream()};
};

/// What every store that outlives the process does.
class RecordStoreTest : public StoreTest, public testing::WithParamInterface<std::string> {
 protected:
  void SetUp() override {
    if (GetParam() == "JetStream" && test::NATSServer::program().empty()) {
      GTEST_SKIP() << "there is no nats-server";
    }
    place = GetParam() == "JetStream" ? std::unique_ptr<Place>(std::make_unique<Engine>())
                                      : std::make_unique<File>();
    reopen();
  }
  void TearDown() override { store.reset(); }

  std::unique_ptr<RecordStore> opened(Log log) override {
    return place->opened(limits, clock, log);
  }

  std::unique_ptr<Place> place;
};

INSTANTIATE_TEST_SUITE_P(Stores, RecordStoreTest, testing::Values("SQLite", "JetStream"),
                         [](const auto& each) { return each.param; });

TEST_P(RecordStoreTest, KeepsSubscriptionsUntilNobodySaysThem) {
  claim('a', 't');
  EXPECT_TRUE(subscribe('a', 't', "one") && subscribe('a', 't', "two") &&
              subscribe('b', 't', "one"));
  EXPECT_FALSE(subscribe('a', 'u', "three"));
  clock->unix = clock->unix.load() + std::chrono::days(1);
  EXPECT_TRUE(subscribe('a', 't', "one", 5));
  store->unsubscribe(identifier('b'), "one");
  store->unsubscribe(identifier('b'), "two");
  EXPECT_EQ(subscriptions('a'), " one5 two4");
  EXPECT_EQ(store->state().subscriptions.value_or(2), 2U);
  reopen();
  EXPECT_EQ(subscriptions('a'), " one5 two4");
  clock->unix = clock->unix.load() + std::chrono::days(179) - 1s;
  EXPECT_EQ(subscriptions('a'), " one5 two4");
  // The second is 180 days old; opening cleans.
  clock->unix = clock->unix.load() + 1s;
  EXPECT_EQ(subscriptions('a'), " one5");
  reopen();
  EXPECT_EQ(subscriptions('a'), " one5");
}

TEST_P(RecordStoreTest, KeepsOwnersAndTheNewestAlerts) {
  EXPECT_TRUE(std::holds_alternative<NoRecord>(find('a')));
  const Claimed mine = claim('a', 't');
  const std::uint64_t first = mine->lastNumber + 1;
  EXPECT_EQ(first, 180'000'000'000'001U);
  EXPECT_TRUE(claim('a', 'u')->owner == token('t'));
  EXPECT_FALSE(keep('a', 'u', first));
  for (std::uint64_t number = first; number < first + 22; ++number) {
    EXPECT_TRUE(keep('a', 't', number));
  }
  // One that is tried again, and one that comes late.
  EXPECT_TRUE(keep('a', 't', first + 21));
  EXPECT_TRUE(keep('a', 't', first + 1));
  store->markTaken(identifier('a'), first + 9);
  // A store that was lost meanwhile learns the owner from an alert.
  EXPECT_TRUE(keep('b', 'v', first + 5));
  reopen();
  const Record record = std::get<Record>(find('a'));
  EXPECT_TRUE(record.owner == token('t'));
  EXPECT_EQ(record.takenNumber, first + 9);
  EXPECT_GE(record.lastNumber, first + 100'000 - 1) << "no number is given twice after a crash";
  EXPECT_EQ(record.alerts.size(), 20U);
  EXPECT_EQ(record.alerts.front().number, first + 2);
  EXPECT_EQ(record.alerts.back().number, first + 21);
  EXPECT_THAT(record.alerts.back().envelope->text(), HasSubstr(std::to_string(first + 21)));
  EXPECT_TRUE(claim('b', 'x')->owner == token('v'));
  for (const char owner : {'x', 'v', 'v'}) {
    EXPECT_TRUE(revoke('b', owner));
    EXPECT_EQ(numbers('b').size(), owner == 'x' ? 1U : 0U);
  }
  reopen();
  EXPECT_TRUE(claim('b', 'v')->owner == TokenHash::ofNoToken());
  EXPECT_FALSE(keep('b', 'v', first + 6));
  EXPECT_TRUE(revoke('d', 'v'));
  EXPECT_TRUE(claim('d', 'v')->owner == TokenHash::ofNoToken()) << "of a store that was lost";

  clock->unix = clock->unix.load() + 24h - 1s;
  EXPECT_EQ(numbers('a').size(), 20U);
  clock->unix = clock->unix.load() + 1s;
  EXPECT_THAT(numbers('a'), IsEmpty());
  // It was used by the questions above; the other record was not.
  clock->unix = clock->unix.load() + 180 * 24h - 1s;
  reopen();
  EXPECT_TRUE(claimOnceItWorks('c', 't'));
  EXPECT_TRUE(std::holds_alternative<Record>(find('a')));
  EXPECT_TRUE(std::holds_alternative<NoRecord>(find('b')));
  EXPECT_EQ(takeLog(), "");
  // That a record is used is noted after the answer.
  while (store->state().queued > 0) {
    std::this_thread::yield();
  }
  const StoreState state = store->state();
  EXPECT_TRUE(state.isAvailable());
  EXPECT_EQ(std::accumulate(state.find.counts.begin(), state.find.counts.end(), 0U), 2U);
}

TEST_P(RecordStoreTest, BoundsWhatWaits) {
  limits.storeQueue = 3;
  reopen();
  // One that is still opening, or cannot be reached for a moment, refuses.
  ASSERT_TRUE(claimOnceItWorks('z', 't'));
  while (store->state().queued > 0) {
    std::this_thread::yield();
  }
  std::promise<void> isHeld;
  std::promise<void> goOn;
  const auto caller = std::this_thread::get_id();
  store->find(identifier('z'), [&](const Found&) {
    isHeld.set_value();
    EXPECT_NE(std::this_thread::get_id(), caller);
    if (std::this_thread::get_id() != caller) {
      goOn.get_future().wait();
    }
  });
  isHeld.get_future().wait();
  const std::uint64_t refusedBefore = store->state().refused;
  int refused = 0;
  for (int i = 0; i < 5; ++i) {
    store->find(identifier('z'), [&refused](const Found& found) {
      refused += std::holds_alternative<StoreUnavailable>(found) ? 1 : 0;
    });
  }
  EXPECT_EQ(store->state().queued, 3U);
  EXPECT_EQ(store->state().refused, refusedBefore + 2);
  goOn.set_value();
  store.reset();
  EXPECT_EQ(refused, 2) << "everybody is answered before the end";
}

}  // namespace
}  // namespace orvik::relay
