#include "relay/RecordFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <system_error>

#include "relay/ClientMessage.h"

namespace orvik::relay {

namespace fs = std::filesystem;

namespace {

/// "Orvk", so that no other program's database is taken for one of these.
constexpr std::int64_t applicationId = 0x4F72766B;
constexpr std::int64_t formatVersion = 1;
constexpr std::int64_t pageSize = 4096;
constexpr std::int64_t day = 86'400;
/// How much of the file may be used for an identifier to be claimed, and for one that has been
/// claimed within a day to have an alert kept: a stranger makes identifiers in no time.
constexpr std::int64_t quartersForClaims = 3;
constexpr std::int64_t quartersForNew = 2;
/// Rows that go in one transaction, so that others do not wait for long.
constexpr std::int64_t cleanedAtOnce = 1000;
/// What has to fit for a file to be called able to grow: more than a group of alerts.
constexpr const char* setAside = "UPDATE store SET room = zeroblob(262144)";

constexpr const char* countSubscriptions = "SELECT count(*) FROM subscriptions";

constexpr const char* tables = R"(
  CREATE TABLE store (
    first_number INTEGER NOT NULL,
    room BLOB
  ) STRICT;
  INSERT INTO store VALUES (1, NULL);
  CREATE TABLE records (
    id INTEGER PRIMARY KEY,
    identifier BLOB NOT NULL UNIQUE,
    owner BLOB NOT NULL,
    last_number INTEGER NOT NULL,
    taken_number INTEGER NOT NULL,
    claimed INTEGER NOT NULL,
    used INTEGER NOT NULL
  ) STRICT;
  CREATE INDEX records_by_use ON records (used);
  CREATE TABLE alerts (
    id INTEGER PRIMARY KEY,
    record INTEGER NOT NULL REFERENCES records ON DELETE CASCADE,
    number INTEGER NOT NULL,
    kept_at INTEGER NOT NULL,
    envelope TEXT NOT NULL,
    UNIQUE (record, number)
  ) STRICT;
  CREATE INDEX alerts_by_time ON alerts (kept_at);
  CREATE TABLE subscriptions (
    id INTEGER PRIMARY KEY,
    record INTEGER NOT NULL REFERENCES records ON DELETE CASCADE,
    endpoint TEXT NOT NULL,
    content BLOB NOT NULL,
    used INTEGER NOT NULL,
    UNIQUE (record, endpoint)
  ) STRICT;
  CREATE INDEX subscriptions_by_use ON subscriptions (used);
)";

std::int64_t secondsOf(Clock::Duration duration) {
  return std::chrono::duration_cast<std::chrono::seconds>(duration).count();
}

std::int64_t asInteger(std::uint64_t number) { return static_cast<std::int64_t>(number); }

/// A number of an alert, which none is negative.
std::uint64_t numberOf(std::int64_t stored) {
  return static_cast<std::uint64_t>(std::max<std::int64_t>(stored, 0));
}

using SubscriptionBytes =
    std::array<std::uint8_t, sizeof(Subscription::Key) + sizeof(Subscription::Secret)>;

/// The key, then the secret.
SubscriptionBytes contentOf(const Subscription& subscription) {
  SubscriptionBytes bytes{};
  std::ranges::copy(subscription.secret, std::ranges::copy(subscription.key, bytes.begin()).out);
  return bytes;
}

/// Nothing when the content is of another size.
std::optional<Subscription> subscriptionOf(std::string_view endpoint, ByteView content,
                                           std::int64_t usedAt) {
  Subscription subscription{.endpoint = std::string(endpoint), .usedAt = usedAt};
  if (content.size() != SubscriptionBytes().size()) {
    return std::nullopt;
  }
  std::ranges::copy(content.first(subscription.key.size()), subscription.key.begin());
  std::ranges::copy(content.subspan(subscription.key.size()), subscription.secret.begin());
  return subscription;
}

[[noreturn]] void damaged(const std::string& what) { throw SQLiteError(SQLITE_CORRUPT, what); }

/// SQLite would make it readable for all that the mask of the process lets.
const fs::path& madePrivate(const fs::path& file) {
  const int descriptor =
      open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (descriptor >= 0) {
    close(descriptor);
  } else {
    std::error_code ignored;
    fs::permissions(file, fs::perms::group_all | fs::perms::others_all, fs::perm_options::remove,
                    ignored);
  }
  return file;
}

std::pair<std::uint64_t, std::uint64_t> placeOf(const fs::path& file) {
  struct stat found {};
  return stat(file.c_str(), &found) == 0
             ? std::pair<std::uint64_t, std::uint64_t>(found.st_dev, found.st_ino)
             : std::pair<std::uint64_t, std::uint64_t>();
}

}  // namespace

struct RecordFile::Statements {
  explicit Statements(SQLite& database)
      : find(database,
             "SELECT id, owner, last_number, taken_number, used, claimed FROM records "
             "WHERE identifier = ?"),
        alerts(database,
               "SELECT number, kept_at, envelope FROM alerts WHERE record = ? AND kept_at > ? "
               "ORDER BY number DESC LIMIT ?"),
        use(database, "UPDATE records SET used = ? WHERE identifier = ?"),
        claim(database,
              "INSERT INTO records (identifier, owner, last_number, taken_number, claimed, used) "
              "VALUES (?1, ?2, ?3, 0, ?4, ?4) ON CONFLICT DO NOTHING"),
        keep(database,
             "INSERT INTO alerts (record, number, kept_at, envelope) VALUES (?, ?, ?, ?) "
             "ON CONFLICT DO NOTHING"),
        advance(database,
                "UPDATE records SET last_number = max(last_number, ?), used = ? WHERE id = ?"),
        trim(database,
             "DELETE FROM alerts WHERE record = ?1 AND (kept_at <= ?2 OR number <= "
             "(SELECT number FROM alerts WHERE record = ?1 ORDER BY number DESC LIMIT 1 OFFSET "
             "?3))"),
        forgetAlerts(database,
                     "DELETE FROM alerts WHERE record IN (SELECT id FROM records WHERE identifier "
                     "= ? AND owner = ?)"),
        forgetSubscriptions(database,
                            "DELETE FROM subscriptions WHERE record IN (SELECT id FROM records "
                            "WHERE identifier = ? AND owner = ?)"),
        disown(database, "UPDATE records SET owner = ?3 WHERE identifier = ?1 AND owner = ?2"),
        pages(database, "PRAGMA page_count"),
        freePages(database, "PRAGMA freelist_count"),
        markTaken(database,
                  "UPDATE records SET taken_number = max(taken_number, ?) WHERE identifier = ?"),
        subscriptions(database,
                      "SELECT endpoint, content, used FROM subscriptions WHERE record = ? AND "
                      "used > ? ORDER BY id LIMIT ?"),
        resubscribe(database,
                    "UPDATE subscriptions SET content = ?, used = ? WHERE record = ? AND "
                    "endpoint = ?"),
        subscribe(database,
                  "INSERT INTO subscriptions (record, endpoint, content, used) "
                  "VALUES (?, ?, ?, ?)"),
        unsubscribe(database,
                    "DELETE FROM subscriptions WHERE endpoint = ? AND record = "
                    "(SELECT id FROM records WHERE identifier = ?)"),
        removeSubscriptions(database,
                            "DELETE FROM subscriptions WHERE id IN (SELECT id FROM subscriptions "
                            "WHERE used <= ? ORDER BY used LIMIT ?)"),
        removeAlerts(database,
                     "DELETE FROM alerts WHERE id IN (SELECT id FROM alerts WHERE kept_at <= ? "
                     "ORDER BY kept_at LIMIT ?)"),
        removeRecords(database,
                      "DELETE FROM records WHERE id IN (SELECT id FROM records WHERE used <= ? "
                      "ORDER BY used LIMIT ?)") {}

  SQLite::Statement find;
  SQLite::Statement alerts;
  SQLite::Statement use;
  SQLite::Statement claim;
  SQLite::Statement keep;
  SQLite::Statement advance;
  SQLite::Statement trim;
  SQLite::Statement forgetAlerts;
  SQLite::Statement forgetSubscriptions;
  SQLite::Statement disown;
  SQLite::Statement pages;
  SQLite::Statement freePages;
  SQLite::Statement markTaken;
  SQLite::Statement subscriptions;
  SQLite::Statement resubscribe;
  SQLite::Statement subscribe;
  SQLite::Statement unsubscribe;
  SQLite::Statement removeSubscriptions;
  SQLite::Statement removeAlerts;
  SQLite::Statement removeRecords;
};

RecordFile::RecordFile(const fs::path& file, const Limits& limits, bool isChecked)
    : path(file),
      limits(limits),
      database(madePrivate(file), limits.storeLock),
      place(placeOf(file)) {
  // What a damaged file holds is not trusted either. The journal goes to the disk with each commit.
  database.execute(
      "PRAGMA trusted_schema = OFF; PRAGMA cell_size_check = ON; PRAGMA foreign_keys = ON;"
      "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA journal_size_limit = 8388608");
  const auto pages = static_cast<std::int64_t>(limits.storeBytes) / pageSize;
  database.execute(("PRAGMA max_page_count = " + std::to_string(pages)).c_str());
  if (isChecked) {
    SQLite::Statement check(database, "PRAGMA quick_check(1)");
    if (!check.step() || check.bytes(0) != "ok") {
      damaged("the file is not consistent");
    }
  }
  prepareTables();
  try {
    statements = std::make_unique<Statements>(database);
    first = numberOf(database.integer("SELECT first_number FROM store"));
  } catch (const SQLiteError& error) {
    // A table that is not there.
    error.code() == SQLITE_ERROR ? damaged(error.what()) : throw;
  }
}

RecordFile::~RecordFile() = default;

void RecordFile::prepareTables() {
  const std::int64_t application = database.integer("PRAGMA application_id");
  const std::int64_t version = database.integer("PRAGMA user_version");
  if (application == applicationId && version == formatVersion) {
    return;
  }
  if (application != 0 || version != 0 ||
      database.integer("SELECT count(*) FROM sqlite_schema") != 0) {
    throw UnknownFormat();
  }
  SQLite::Transaction whole(database);
  database.execute(tables);
  database.execute(("PRAGMA application_id = " + std::to_string(applicationId)).c_str());
  database.execute(("PRAGMA user_version = " + std::to_string(formatVersion)).c_str());
  whole.commit();
}

void RecordFile::begin(std::int64_t unixNow) {
  // Above what has been given in the time that the commits of this file have missed.
  constexpr std::uint64_t gap = 100'000;
  first = std::max(firstNumber(unixNow), std::min(first + gap, firstNumber(INT64_MAX)));
  makeRoom(unixNow);
  SQLite::Transaction whole(database);
  SQLite::Statement(database, "UPDATE store SET first_number = ?").with(asInteger(first)).run();
  database.execute(setAside);
  whole.commit();
  database.execute("UPDATE store SET room = NULL");
  subscriptions = database.integer(countSubscriptions);
}

bool RecordFile::hasRoom(std::int64_t quarters) {
  const auto valueOf = [](SQLite::Statement& query) {
    const std::int64_t value = query.step() ? query.integer(0) : 0;
    query.reset();
    return value;
  };
  const std::int64_t used = valueOf(statements->pages) - valueOf(statements->freePages);
  return used < static_cast<std::int64_t>(limits.storeBytes) / pageSize * quarters / 4;
}

bool RecordFile::makeRoom(std::int64_t unixNow) {
  if (hasRoom(quartersForClaims)) {
    return false;
  }
  SQLite::Transaction whole(database);
  // None that has an alert left: these are a day old at most.
  statements->removeRecords
      .with(unixNow - std::max(day, secondsOf(limits.keptAlertTime)), cleanedAtOnce)
      .run();
  const bool isAnyGone = database.changes() > 0;
  whole.commit();
  return isAnyGone;
}

SQLite::Transaction RecordFile::transaction() {
  if (placeOf(path) != place) {
    throw SQLiteError(SQLITE_READONLY_DBMOVED, "the file has been moved or removed");
  }
  return SQLite::Transaction(database);
}

RecordFile::Found RecordFile::find(const Identifier& identifier, std::int64_t unixNow) {
  SQLite::Statement& row = statements->find.with(std::span(identifier));
  if (!row.step()) {
    return {};
  }
  TokenHash::Digest digest;
  const std::string_view owner = row.bytes(1);
  if (owner.size() != digest.size()) {
    damaged("an owner of another size");
  }
  std::ranges::copy(owner, digest.begin());
  Record record{.owner = TokenHash::from(digest),
                .lastNumber = std::max(numberOf(row.integer(2)), first - 1),
                .takenNumber = numberOf(row.integer(3))};
  const bool isLongUnused = row.integer(4) <= unixNow - day;
  SQLite::Statement& alert =
      statements->alerts.with(row.integer(0), unixNow - secondsOf(limits.keptAlertTime),
                              static_cast<std::int64_t>(limits.keptAlertsPerMac));
  while (alert.step()) {
    // A bit that has turned on the disk must not end the connection of every phone.
    if (const std::string_view envelope = alert.bytes(2);
        envelope.size() <= limits.keptAlertBytes && isAlert(envelope)) {
      record.alerts.push_back({numberOf(alert.integer(0)), alert.integer(1), framedText(envelope)});
    }
  }
  SQLite::Statement& subscription =
      statements->subscriptions.with(row.integer(0), unixNow - secondsOf(limits.subscriptionTime),
                                     static_cast<std::int64_t>(limits.subscriptionsPerMac));
  while (subscription.step()) {
    if (auto kept = subscriptionOf(subscription.bytes(0), bytesOf(subscription.bytes(1)),
                                   subscription.integer(2))) {
      record.subscriptions.push_back(*std::move(kept));
    }
  }
  row.reset();
  std::ranges::reverse(record.alerts);
  return {std::move(record), isLongUnused};
}

void RecordFile::use(const Identifier& identifier, std::int64_t unixNow) {
  statements->use.with(unixNow, std::span(identifier)).run();
}

void RecordFile::claim(const Identifier& identifier, const TokenHash& owner, std::int64_t unixNow) {
  if (!hasRoom(quartersForClaims)) {
    return;
  }
  statements->claim
      .with(std::span(identifier), std::span(owner.bytes()), asInteger(first - 1), unixNow)
      .run();
}

std::optional<std::int64_t> RecordFile::roomyRecord(const Identifier& identifier,
                                                    const TokenHash& owner, std::int64_t unixNow) {
  claim(identifier, owner, unixNow);
  SQLite::Statement& row = statements->find.with(std::span(identifier));
  const std::string_view bytes(reinterpret_cast<const char*>(owner.bytes().data()),
                               owner.bytes().size());
  const bool isOwned = row.step() && row.bytes(1) == bytes;
  const std::int64_t record = isOwned ? row.integer(0) : 0;
  const bool isNew = isOwned && row.integer(5) > unixNow - day;
  row.reset();
  return !isOwned || (isNew && !hasRoom(quartersForNew)) ? std::nullopt : std::optional(record);
}

bool RecordFile::keep(const Identifier& identifier, const TokenHash& owner, const KeptAlert& alert,
                      std::int64_t unixNow) {
  const auto found = roomyRecord(identifier, owner, unixNow);
  if (!found) {
    return false;
  }
  const std::int64_t record = *found;
  statements->keep.with(record, asInteger(alert.number), alert.keptAt, alert.envelope->text())
      .run();
  statements->advance.with(asInteger(alert.number), unixNow, record).run();
  statements->trim
      .with(record, unixNow - secondsOf(limits.keptAlertTime),
            static_cast<std::int64_t>(limits.keptAlertsPerMac))
      .run();
  return true;
}

bool RecordFile::revoke(const Identifier& identifier, const TokenHash& owner,
                        std::int64_t unixNow) {
  claim(identifier, owner, unixNow);
  const std::span<const std::uint8_t> bytes(owner.bytes());
  statements->forgetAlerts.with(std::span(identifier), bytes).run();
  statements->forgetSubscriptions.with(std::span(identifier), bytes).run();
  subscriptions -= database.changes();
  statements->disown.with(std::span(identifier), bytes, std::span(TokenHash::ofNoToken().bytes()))
      .run();
  return find(identifier, unixNow).record.has_value();
}

void RecordFile::markTaken(const Identifier& identifier, std::uint64_t number) {
  statements->markTaken.with(asInteger(number), std::span(identifier)).run();
}

bool RecordFile::subscribe(const Identifier& identifier, const TokenHash& owner,
                           const Subscription& subscription, std::int64_t unixNow) {
  const auto record = roomyRecord(identifier, owner, unixNow);
  if (!record) {
    return false;
  }
  const SubscriptionBytes content = contentOf(subscription);
  const std::string_view endpoint = subscription.endpoint;
  statements->resubscribe.with(std::span(content), subscription.usedAt, *record, endpoint).run();
  if (database.changes() == 0) {
    statements->subscribe.with(*record, endpoint, std::span(content), subscription.usedAt).run();
    ++subscriptions;
  }
  return true;
}

void RecordFile::unsubscribe(const Identifier& identifier, const std::string& endpoint) {
  statements->unsubscribe.with(std::string_view(endpoint), std::span(identifier)).run();
  subscriptions -= database.changes();
}

std::vector<Identifier> RecordFile::identifiers(std::int64_t& from, std::int64_t most) {
  SQLite::Statement rows(database,
                         "SELECT id, identifier FROM records WHERE id > ? ORDER BY id LIMIT ?");
  std::vector<Identifier> all;
  rows.with(from, most);
  while (rows.step()) {
    from = rows.integer(0);
    const std::string_view bytes = rows.bytes(1);
    Identifier identifier{};
    if (bytes.size() != identifier.size()) {
      damaged("an identifier of another size");
    }
    std::ranges::copy(bytes, identifier.begin());
    all.push_back(identifier);
  }
  return all;
}

bool RecordFile::clean(std::int64_t unixNow) {
  SQLite::Transaction whole(database);
  statements->removeAlerts.with(unixNow - secondsOf(limits.keptAlertTime), cleanedAtOnce).run();
  bool isMore = database.changes() >= cleanedAtOnce;
  statements->removeSubscriptions.with(unixNow - secondsOf(limits.subscriptionTime), cleanedAtOnce)
      .run();
  isMore = database.changes() >= cleanedAtOnce || isMore;
  statements->removeRecords.with(unixNow - secondsOf(limits.recordTime), cleanedAtOnce).run();
  isMore = database.changes() >= cleanedAtOnce || isMore;
  whole.commit();
  isMore = makeRoom(unixNow) || isMore;
  subscriptions = database.integer(countSubscriptions);
  return isMore;
}

}  // namespace orvik::relay
