#pragma once

#include <sqlite3.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace orvik::relay {

/// What SQLite could not do.
class SQLiteError : public std::runtime_error {
 public:
  /// `code` is one of SQLite's extended result codes.
  SQLiteError(int code, const std::string& what) : std::runtime_error(what), extended(code) {}

  [[nodiscard]] int extendedCode() const noexcept { return extended; }
  /// The code that the extended one belongs to.
  [[nodiscard]] int code() const noexcept { return extended & 0xFF; }

 private:
  int extended;
};

/// One connection to a database file. Used by one thread at a time; all operations throw
/// SQLiteError.
class SQLite {
 public:
  /// One statement, which may run many times. Goes before its connection.
  class Statement {
   public:
    Statement(SQLite& database, const char* sql);

    /// Begins anew with these parameters, in the order of the question marks. Text and bytes have
    /// to live until the statement has run.
    template <typename... Values>
    Statement& with(const Values&... values) {
      sqlite3_reset(handle.get());
      int place = 0;
      (bind(++place, values), ...);
      return *this;
    }
    /// Lets go of the row, which else keeps others from writing.
    void reset() { sqlite3_reset(handle.get()); }
    /// The next row, if there is one.
    bool step();
    /// To its end.
    void run() {
      while (step()) {
      }
    }

    [[nodiscard]] std::int64_t integer(int column) const {
      return sqlite3_column_int64(handle.get(), column);
    }
    /// Bytes or text of the row, until the next step.
    [[nodiscard]] std::string_view bytes(int column) const;

   private:
    struct Finalizer {
      void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
    };
    void bind(int place, std::int64_t value);
    void bind(int place, std::string_view text);
    void bind(int place, std::span<const std::uint8_t> bytes);
    void check(int code) const { database.check(code); }

    SQLite& database;
    std::unique_ptr<sqlite3_stmt, Finalizer> handle;
  };

  /// Opens a file, or makes it, and waits as long for another program's lock.
  SQLite(const std::filesystem::path& file, std::chrono::nanoseconds lockWait);

  void execute(const char* sql);
  /// Rows that the last statement changed.
  [[nodiscard]] std::int64_t changes() const { return sqlite3_changes64(handle.get()); }
  /// The one integer that a query gives.
  [[nodiscard]] std::int64_t integer(const char* query);

  /// Takes back what has been done unless it is committed.
  class Transaction {
   public:
    explicit Transaction(SQLite& database);
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    ~Transaction();
    void commit();

   private:
    SQLite& database;
    bool isOpen = true;
  };

 private:
  struct Closer {
    void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
  };
  void check(int code) const;

  std::unique_ptr<sqlite3, Closer> handle;
};

}  // namespace orvik::relay
