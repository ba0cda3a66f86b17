#include <gmock/gmock.h>

#include <atomic>
#include <fstream>
#include <future>
#include <numeric>

#include "relay/SQLite.h"
#include "relay/SQLiteStore.h"
#include "tests/support/TemporaryFolder.h"

namespace orvik::relay {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// Unix time as a test wants it, for two threads.
struct SetClock final : Clock {
  [[nodiscard]] Instant now() const override { return SystemClock().now(); }
  [[nodiscard]] UnixTime unixNow() const override { return UnixTime(unix.load()); }
  asio::awaitable<void> sleepUntil(Instant) override { co_return; }
  std::atomic<UnixTime::duration> unix{1'800'000'000s};
};

class SQLiteStoreTest : public testing::Test {
 protected:
  SQLiteStoreTest() {
    limits.storeRetry = limits.longestStoreRetry = limits.storeLock = 1ms;
    reopen();
  }

  void reopen() {
    store.reset();
    store.emplace(file, limits, clock, [this](const std::string& line) {
      const std::lock_guard guard(mutex);
      log += line + "\n";
    });
  }

  static Identifier identifier(char name) {
    Identifier made{};
    made.fill(static_cast<std::uint8_t>(name));
    return made;
  }
  static TokenHash token(char name) {
    const Bytes bytes(TokenHash::tokenSize, static_cast<std::uint8_t>(name));
    return TokenHash(std::span(bytes).first<TokenHash::tokenSize>());
  }

  Found find(char name) {
    return answer<Found>([&](auto then) { store->find(identifier(name), then); });
  }
  Claimed claim(char name, char owner) {
    return answer<Claimed>([&](auto then) { store->claim(identifier(name), token(owner), then); });
  }
  bool keep(char name, char owner, std::uint64_t number, std::size_t size = 0) {
    const std::int64_t now = epochSeconds(clock->unixNow());
    const std::string text =
        R"({"t":"a","i":)" + std::to_string(number) + R"(,"c":")" + std::string(size, 'x') + "\"}";
    const KeptAlert alert{number, now, framedText(text)};
    return answer<bool>(
        [&](auto then) { store->keep(identifier(name), token(owner), alert, then); });
  }
  bool revoke(char name, char owner) {
    return answer<bool>([&](auto then) { store->revoke(identifier(name), token(owner), then); });
  }
  /// Asks until the answer is another than that the store can do nothing.
  bool claimOnceItWorks(char name, char owner) {
    const auto end = std::chrono::steady_clock::now() + 20s;
    while (std::chrono::steady_clock::now() < end) {
      if (claim(name, owner)) {
        return true;
      }
    }
    return false;
  }
  bool subscribe(char name, char owner, const std::string& endpoint, std::uint8_t key = 4) {
    Subscription made{.endpoint = endpoint, .usedAt = epochSeconds(clock->unixNow())};
    made.key.fill(key);
    made.secret.fill(7);
    return answer<bool>(
        [&](auto then) { store->subscribe(identifier(name), token(owner), made, then); });
  }
  /// What is kept of each, with the first byte of its key.
  std::string subscriptions(char name) {
    const Record record = std::get<Record>(find(name));
    std::string all = std::to_string(*store->state().subscriptions);
    for (const Subscription& each : record.subscriptions) {
      EXPECT_EQ(each.secret.back(), 7);
      all += " " + each.endpoint + std::to_string(each.key.back());
    }
    return all;
  }
  std::vector<std::uint64_t> numbers(char name) {
    std::vector<std::uint64_t> all;
    const Found found = find(name);
    if (const auto* const record = std::get_if<Record>(&found)) {
      for (const KeptAlert& alert : record->alerts) {
        all.push_back(alert.number);
      }
    }
    return all;
  }
  std::string takeLog() {
    const std::lock_guard guard(mutex);
    return std::exchange(log, {});
  }
  std::vector<fs::path> damagedFiles() const {
    std::vector<fs::path> all;
    for (const auto& entry : fs::directory_iterator(file.parent_path())) {
      const std::string name = entry.path().filename();
      if (name.find(".damaged-2027-01-15T08-00-00Z") != std::string::npos &&
          !name.ends_with("-wal") && !name.ends_with("-shm")) {
        all.push_back(entry.path());
      }
    }
    return all;
  }

  const test::TemporaryFolder folder;
  const fs::path file = folder.path / "state" / "relay.sqlite";
  Limits limits;
  const std::shared_ptr<SetClock> clock = std::make_shared<SetClock>();
  std::mutex mutex;
  std::string log;
  std::optional<SQLiteStore> store;

 private:
  template <typename Answer, typename Ask>
  Answer answer(Ask ask) {
    const auto promise = std::make_shared<std::promise<Answer>>();
    ask([promise](Answer given) { promise->set_value(std::move(given)); });
    return promise->get_future().get();
  }
};

TEST_F(SQLiteStoreTest, KeepsSubscriptionsUntilNobodySaysThem) {
  claim('a', 't');
  EXPECT_TRUE(subscribe('a', 't', "one") && subscribe('a', 't', "two") &&
              subscribe('b', 't', "one"));
  EXPECT_FALSE(subscribe('a', 'u', "three"));
  clock->unix = clock->unix.load() + std::chrono::days(1);
  EXPECT_TRUE(subscribe('a', 't', "one", 5));
  store->unsubscribe(identifier('b'), "one");
  store->unsubscribe(identifier('b'), "two");
  EXPECT_EQ(subscriptions('a'), "2 one5 two4");
  reopen();
  EXPECT_EQ(subscriptions('a'), "2 one5 two4");
  clock->unix = clock->unix.load() + std::chrono::days(179) - 1s;
  EXPECT_EQ(subscriptions('a'), "2 one5 two4");
  // The second is 180 days old; opening cleans.
  clock->unix = clock->unix.load() + 1s;
  EXPECT_EQ(subscriptions('a'), "2 one5");
  reopen();
  EXPECT_EQ(subscriptions('a').substr(1), " one5");
}

TEST_F(SQLiteStoreTest, KeepsOwnersAndTheNewestAlerts) {
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

  for (const char* const name : {"", "-wal", "-shm"}) {
    EXPECT_EQ(fs::status(file.native() + name).permissions(),
              fs::perms::owner_read | fs::perms::owner_write)
        << name;
  }
  EXPECT_EQ(fs::status(file.parent_path()).permissions(), fs::perms::owner_all);
  EXPECT_EQ(takeLog(), "");
  const StoreState state = store->state();
  EXPECT_TRUE(state.isAvailable());
  EXPECT_EQ(state.queued, 0U);
  EXPECT_EQ(std::accumulate(state.find.counts.begin(), state.find.counts.end(), 0U), 2U);
}

TEST_F(SQLiteStoreTest, MovesADamagedFileAside) {
  const auto isDamagedAt = [&](std::streamoff place, const std::string& bytes) {
    store.reset();
    {
      std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
      stream.seekp(place);
      stream << bytes;
    }
    const auto size = fs::file_size(file);
    reopen();
    EXPECT_TRUE(claimOnceItWorks('n', 't'));
    EXPECT_TRUE(std::holds_alternative<NoRecord>(find('a')));
    EXPECT_THAT(takeLog(), testing::MatchesRegex("the store [^ ]+/relay.sqlite is damaged "
                                                 "\\([^\n]+\\): moved to [^ ]+; a new one is "
                                                 "made\n"));
    EXPECT_EQ(store->state().damagedFiles, 1U);
    std::size_t found = 0;
    for (const fs::path& aside : damagedFiles()) {
      found += fs::file_size(aside) == size ? 1U : 0U;
    }
    EXPECT_GT(found, 0U) << "as it was";
  };
  claim('a', 't');
  isDamagedAt(0, "no database file");
  claim('a', 't');
  // The first page of a table that is read through.
  isDamagedAt(4096, std::string(4096, 'x'));
  EXPECT_EQ(damagedFiles().size(), 2U);

  // While it is used: what the file has in the meantime is found when it is read.
  for (std::uint64_t number = 1; number <= 20; ++number) {
    EXPECT_TRUE(keep('a', 't', number, 3000));
  }
  reopen();
  find('a');
  SQLite other(file, 20s);
  other.execute("PRAGMA wal_checkpoint(TRUNCATE)");
  {
    std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
    const std::string rubbish(fs::file_size(file) - 4096, 'x');
    stream.seekp(4096);
    stream << rubbish;
  }
  // What SQLite still has in memory comes from there until somebody else has written.
  other.execute("PRAGMA writable_schema = ON; PRAGMA user_version = 1");
  find('a');
  EXPECT_TRUE(claimOnceItWorks('n', 't'));
  EXPECT_THAT(takeLog(), HasSubstr("is damaged"));
  EXPECT_EQ(damagedFiles().size(), 3U);
}

TEST_F(SQLiteStoreTest, SaysWhatItCannotDoAndRecovers) {
  claim('a', 't');
  EXPECT_TRUE(keep('a', 't', 1));
  {
    SQLite other(file, 20s);
    other.execute("BEGIN EXCLUSIVE");
    EXPECT_FALSE(keep('a', 't', 2));
    EXPECT_FALSE(claim('b', 't'));
    EXPECT_EQ(store->state().health, StoreState::Health::locked);
    EXPECT_THAT(numbers('a'), ElementsAre(1)) << "it can still be read";
  }
  EXPECT_TRUE(claimOnceItWorks('b', 't'));
  EXPECT_TRUE(keep('a', 't', 2));
  EXPECT_THAT(numbers('a'), ElementsAre(1, 2));
  EXPECT_THAT(takeLog(), testing::MatchesRegex("the store [^\n]+ is locked [^\n]+\n"
                                               "the store [^\n]+ works again\n"));
  // The file goes: a new one takes its place.
  for (const char* const end : {"", "-wal", "-shm"}) {
    fs::remove(file.native() + end);
  }
  EXPECT_TRUE(claimOnceItWorks('c', 't'));
  EXPECT_TRUE(keep('a', 't', 3));
  EXPECT_THAT(numbers('a'), ElementsAre(3));
  EXPECT_THAT(takeLog(), HasSubstr("is read_only"));
  // Another program's file is left alone.
  store.reset();
  SQLite(file, 20s).execute("PRAGMA user_version = 2");
  reopen();
  EXPECT_FALSE(claim('a', 't'));
  EXPECT_EQ(store->state().health, StoreState::Health::unknownFormat);
  EXPECT_THAT(damagedFiles(), IsEmpty());
  SQLite(file, 20s).execute("PRAGMA user_version = 1");
  EXPECT_TRUE(claimOnceItWorks('a', 't'));
}

TEST_F(SQLiteStoreTest, IsBounded) {
  store.reset();
  limits.storeBytes = 2 * Limits::mebibyte;
  limits.storeQueue = 3;
  reopen();
  for (char name = 'a'; name < 'z'; ++name) {
    EXPECT_TRUE(claim(name, 't'));
  }
  clock->unix = clock->unix.load() + 24h;
  std::uint64_t kept = 0;
  for (char name = 'a'; name < 'z' && keep(name, 't', ++kept, 4000);) {
    name = static_cast<char>(name + (kept % 20 == 0 ? 1 : 0));
    if (kept == 200) {
      EXPECT_TRUE(keep('0', 't', 1));
    }
    if (kept == 300) {
      EXPECT_FALSE(keep('0', 't', 2)) << "half is for those that are known for a day";
      EXPECT_TRUE(claim('1', 't'));
    }
    if (kept == 420) {
      EXPECT_FALSE(claim('2', 't')) << "a quarter is for those that are known";
      EXPECT_TRUE(store->state().isAvailable());
    }
  }
  EXPECT_GT(kept, 420U);
  EXPECT_EQ(store->state().health, StoreState::Health::full);
  EXPECT_LE(fs::file_size(file), limits.storeBytes);
  EXPECT_FALSE(claim('z', 't'));
  EXPECT_EQ(numbers('a').size(), 20U) << "nobody's alerts are pushed out";
  clock->unix = clock->unix.load() + 24h;
  EXPECT_TRUE(claimOnceItWorks('z', 't'));
  EXPECT_TRUE(std::holds_alternative<NoRecord>(find('a')));
  EXPECT_THAT(takeLog(), testing::MatchesRegex("the store [^\n]+ is full [^\n]+\n"
                                               "the store [^\n]+ works again\n"));

  std::promise<void> isHeld;
  std::promise<void> goOn;
  store->find(identifier('z'), [&](const Found&) {
    isHeld.set_value();
    goOn.get_future().wait();
  });
  isHeld.get_future().wait();
  int refused = 0;
  for (int i = 0; i < 5; ++i) {
    store->find(identifier('z'), [&refused](const Found& found) {
      refused += std::holds_alternative<StoreUnavailable>(found) ? 1 : 0;
    });
  }
  EXPECT_EQ(store->state().queued, 3U);
  EXPECT_EQ(store->state().refused, 2U);
  goOn.set_value();
  store.reset();
  EXPECT_EQ(refused, 2) << "everybody is answered before the end";
}

}  // namespace
}  // namespace orvik::relay
