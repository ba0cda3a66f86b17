#include <gmock/gmock.h>

#include <fstream>

#include "relay/SQLite.h"
#include "relay/SQLiteStore.h"
#include "tests/relay/StoreTest.h"

namespace orvik::relay {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class SQLiteStoreTest : public StoreTest {
 protected:
  SQLiteStoreTest() {
    limits.storeRetry = limits.longestStoreRetry = limits.storeLock = 1ms;
    reopen();
  }

  std::unique_ptr<RecordStore> opened(Log log) override {
    return std::make_unique<SQLiteStore>(file, limits, clock, log);
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
};

TEST_F(SQLiteStoreTest, KeepsItsFileToItself) {
  claim('a', 't');
  for (const char* const name : {"", "-wal", "-shm"}) {
    EXPECT_EQ(fs::status(file.native() + name).permissions(),
              fs::perms::owner_read | fs::perms::owner_write)
        << name;
  }
  EXPECT_EQ(fs::status(file.parent_path()).permissions(), fs::perms::owner_all);
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
}

}  // namespace
}  // namespace orvik::relay
