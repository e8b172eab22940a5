#pragma once

#include <concepts>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace SQLite {
class Database;
class Statement;
}  // namespace SQLite

namespace vesk {

// A connection to an SQLite database. Statements are prepared when they are first used, and kept as long as it lives.
// Every failure is a MailError::refusedByDatabase with SQLite's sentence. Used by one thread at a time.
class MailDatabase {
 public:
  // The rows that a statement gives, one after another. The connection can't run the same statement beside it.
  class Rows {
   public:
    explicit Rows(SQLite::Statement& statement) : statement_(&statement) {}
    Rows(Rows&& other) noexcept : statement_(std::exchange(other.statement_, nullptr)) {}
    Rows& operator=(Rows&&) = delete;
    ~Rows();

    // Goes on to the next row, at first to the first one. False when there is none.
    bool next();

    // What the row holds in a column, counted from 0.
    std::string text(int column) const;
    std::int64_t integer(int column) const;
    double real(int column) const;
    bool boolean(int column) const { return integer(column) != 0; }

   private:
    friend class MailDatabase;

    // Gives the next `?` its value; a text that is lent has to stay as it is until the object is gone.
    void lend(const std::string& value);
    void lend(const auto& value) { bind(value); }
    void bind(const std::string& value);
    void bind(std::string_view value) { bind(std::string(value)); }
    void bind(const char* value) { bind(std::string(value)); }
    void bind(std::int64_t value);
    void bind(double value);
    void bind(std::integral auto value) { bind(static_cast<std::int64_t>(value)); }
    // Gives the next ones theirs.
    void bind(const std::vector<std::string>& values) {
      for (const std::string& value : values) bind(value);
    }

    SQLite::Statement* statement_;
    int bound_ = 0;
  };

  // Opens the database file at an absolute path, for reading only where it can't be written. `schema` is run when it
  // is open.
  MailDatabase(const std::string& path, const char* schema);
  ~MailDatabase();

  // The bytes of a database file that has this schema and holds nothing, in the WAL mode.
  static std::string emptyFile(const char* schema);

  // The rows of a statement whose `?` stand for these values, in their order.
  template <typename... Values>
  Rows rows(std::string_view sql, const Values&... values) {
    Rows rows(prepared(sql));
    (rows.bind(values), ...);
    return rows;
  }

  // Runs a statement to its end.
  template <typename... Values>
  void run(std::string_view sql, const Values&... values) {
    Rows all(prepared(sql));
    (all.lend(values), ...);
    while (all.next()) continue;
  }

  // Likewise; the integer in the first column of its only row, when it gives one.
  template <typename... Values>
  std::optional<std::int64_t> integer(std::string_view sql, const Values&... values) {
    std::optional<std::int64_t> found;
    Rows all(prepared(sql));
    (all.lend(values), ...);
    while (all.next()) found = all.integer(0);
    return found;
  }

  // Does the work whole or not at all: what it throws is passed on once everything is as it was.
  template <typename Work>
  void transaction(const Work& work) {
    run("BEGIN IMMEDIATE");
    try {
      work();
      run("COMMIT");
    } catch (...) {
      rollBack();
      throw;
    }
  }

 private:
  SQLite::Statement& prepared(std::string_view sql);
  void rollBack() noexcept;

  std::unique_ptr<SQLite::Database> connection_;
  std::map<std::string, std::unique_ptr<SQLite::Statement>, std::less<>> statements_;  // by their text
};

}  // namespace vesk
