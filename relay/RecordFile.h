#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <utility>

#include "relay/Limits.h"
#include "relay/RecordStore.h"
#include "relay/SQLite.h"

namespace orvik::relay {

/// The records in their file. All operations throw SQLiteError; what changes something is called
/// between the beginning and the end of a transaction. Used by one thread.
class RecordFile {
 public:
  /// The file is another program's, or a newer version's of this one.
  struct UnknownFormat {};

  /// Opens the file or makes it, for this user alone. `isChecked` reads it through for damage,
  /// which is an SQLiteError with SQLITE_CORRUPT. Throws UnknownFormat too.
  RecordFile(const std::filesystem::path& file, const Limits& limits, bool isChecked);
  RecordFile(const RecordFile&) = delete;
  RecordFile& operator=(const RecordFile&) = delete;
  ~RecordFile();

  /// Has the numbers that are given from now on be above all that have been given before, and sees
  /// whether the file can grow. A transaction of its own.
  void begin(std::int64_t unixNow);

  /// Fails with SQLITE_READONLY_DBMOVED when the file is no longer where it was opened: what is
  /// committed to a file that somebody has removed would be lost without a word.
  [[nodiscard]] SQLite::Transaction transaction();

  /// The record, and whether its time of use is to be renewed with `use`.
  struct Found {
    std::optional<Record> record;
    bool isLongUnused = false;
  };
  [[nodiscard]] Found find(const Identifier& identifier, std::int64_t unixNow);
  void use(const Identifier& identifier, std::int64_t unixNow);
  /// Identifiers cost a stranger nothing: the last quarter of the file is for the alerts of those
  /// that are in it, so new ones are left out there.
  void claim(const Identifier& identifier, const TokenHash& owner, std::int64_t unixNow);
  /// False when somebody else owns the identifier, it could not be claimed, or it was within a day
  /// while half of the file is used.
  [[nodiscard]] bool keep(const Identifier& identifier, const TokenHash& owner,
                          const KeptAlert& alert, std::int64_t unixNow);
  /// False when it could not be claimed.
  [[nodiscard]] bool revoke(const Identifier& identifier, const TokenHash& owner,
                            std::int64_t unixNow);
  void markTaken(const Identifier& identifier, std::uint64_t number);
  /// False where `keep` would not keep an alert either.
  [[nodiscard]] bool subscribe(const Identifier& identifier, const TokenHash& owner,
                               const Subscription& subscription, std::int64_t unixNow);
  void unsubscribe(const Identifier& identifier, const std::string& endpoint);
  /// The next identifiers, at most so many, in an order that stays; `from` is 0 at first, and is
  /// for the next call afterwards.
  [[nodiscard]] std::vector<Identifier> identifiers(std::int64_t& from, std::int64_t most);
  /// How many are kept; exact after `begin` and `clean`, and close to it in between.
  [[nodiscard]] std::int64_t subscriptionCount() const noexcept { return subscriptions; }
  /// Removes what is too old, and where there is no room for new identifiers those that nobody has
  /// used for a day, not all at once. Whether there may be more.
  [[nodiscard]] bool clean(std::int64_t unixNow);

 private:
  void prepareTables();
  /// The row of an identifier that this owner has or can have, if it may take room.
  [[nodiscard]] std::optional<std::int64_t> roomyRecord(const Identifier& identifier,
                                                        const TokenHash& owner,
                                                        std::int64_t unixNow);
  /// Whether less than so many quarters of the file are used.
  [[nodiscard]] bool hasRoom(std::int64_t quarters);
  /// Whether it may have helped.
  bool makeRoom(std::int64_t unixNow);

  const std::filesystem::path path;
  const Limits& limits;
  SQLite database;
  /// The device and the number of the file.
  std::pair<std::uint64_t, std::uint64_t> place;
  std::uint64_t first = 1;
  std::int64_t subscriptions = 0;
  struct Statements;
  /// Made once the tables are there.
  std::unique_ptr<Statements> statements;
};

}  // namespace orvik::relay
