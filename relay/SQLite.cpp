#include "relay/SQLite.h"

namespace orvik::relay {

SQLite::SQLite(const std::filesystem::path& file, std::chrono::nanoseconds lockWait) {
  sqlite3* opened = nullptr;
  const int code =
      sqlite3_open_v2(file.c_str(), &opened,
                      SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
  // There is one to be closed after most failures too.
  handle.reset(opened);
  if (opened == nullptr) {
    throw SQLiteError(SQLITE_NOMEM, sqlite3_errstr(SQLITE_NOMEM));
  }
  sqlite3_extended_result_codes(opened, 1);
  check(code);
  const auto wait = std::chrono::duration_cast<std::chrono::milliseconds>(lockWait);
  check(sqlite3_busy_timeout(opened, static_cast<int>(wait.count())));
}

void SQLite::execute(const char* sql) {
  check(sqlite3_exec(handle.get(), sql, nullptr, nullptr, nullptr));
}

std::int64_t SQLite::integer(const char* query) {
  Statement statement(*this, query);
  return statement.step() ? statement.integer(0) : 0;
}

void SQLite::check(int code) const {
  if (code != SQLITE_OK) {
    throw SQLiteError(sqlite3_extended_errcode(handle.get()), sqlite3_errmsg(handle.get()));
  }
}

SQLite::Statement::Statement(SQLite& database, const char* sql) : database(database) {
  sqlite3_stmt* prepared = nullptr;
  check(sqlite3_prepare_v3(database.handle.get(), sql, -1, SQLITE_PREPARE_PERSISTENT, &prepared,
                           nullptr));
  handle.reset(prepared);
}

bool SQLite::Statement::step() {
  const int code = sqlite3_step(handle.get());
  if (code == SQLITE_ROW) {
    return true;
  }
  if (code != SQLITE_DONE) {
    const SQLiteError error(sqlite3_extended_errcode(database.handle.get()),
                            sqlite3_errmsg(database.handle.get()));
    // A statement that is not reset keeps a transaction from ending.
    sqlite3_reset(handle.get());
    throw error;
  }
  sqlite3_reset(handle.get());
  return false;
}

std::string_view SQLite::Statement::bytes(int column) const {
  // In this order, as the second call asks for the size of what the first has made.
  const void* const data = sqlite3_column_blob(handle.get(), column);
  const int size = sqlite3_column_bytes(handle.get(), column);
  return data == nullptr
             ? std::string_view()
             : std::string_view(static_cast<const char*>(data), static_cast<std::size_t>(size));
}

void SQLite::Statement::bind(int place, std::int64_t value) {
  check(sqlite3_bind_int64(handle.get(), place, value));
}

void SQLite::Statement::bind(int place, std::string_view text) {
  check(sqlite3_bind_text64(handle.get(), place, text.data(), text.size(), SQLITE_STATIC,
                            SQLITE_UTF8));
}

void SQLite::Statement::bind(int place, std::span<const std::uint8_t> bytes) {
  check(sqlite3_bind_blob64(handle.get(), place, bytes.data(), bytes.size(), SQLITE_STATIC));
}

SQLite::Transaction::Transaction(SQLite& database) : database(database) {
  database.execute("BEGIN IMMEDIATE");
}

SQLite::Transaction::~Transaction() {
  if (isOpen) {
    // Some failures have taken it back already.
    sqlite3_exec(database.handle.get(), "ROLLBACK", nullptr, nullptr, nullptr);
  }
}

void SQLite::Transaction::commit() {
  database.execute("COMMIT");
  isOpen = false;
}

}  // namespace orvik::relay
