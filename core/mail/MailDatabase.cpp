#include "core/mail/MailDatabase.h"

#include <SQLiteCpp/Database.h>
#include <SQLiteCpp/Exception.h>
#include <SQLiteCpp/Statement.h>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <new>
#include <sqlite3.h>
#include <thread>
#include <unistd.h>

#include <fmt/format.h>

#include "core/mail/MailError.h"

namespace vesk {

namespace {

namespace fs = std::filesystem;

constexpr std::chrono::milliseconds patience(4'000);  // as long as another connection may keep this one waiting
constexpr std::chrono::milliseconds pause(2);

// SQLite's own handler asks ever more seldom, and one who goes on writing can keep others out all that time.
int waitForOthers(void*, int tries) {
  std::this_thread::sleep_for(pause);
  return tries < patience / pause ? 1 : 0;
}

// SQLite's own, but where a full disk has no room for the index of the log: "disk I/O error" helps nobody.
const char* sentenceOf(const SQLite::Exception& failure) {
  return failure.getExtendedErrorCode() == SQLITE_IOERR_SHMSIZE ? "database or disk is full" : failure.what();
}

template <typename Step>
auto saying(Step step) {
  try {
    return step();
  } catch (const SQLite::Exception& failure) {
    throw MailError::refusedByDatabase(sentenceOf(failure));
  }
}

using Connection = std::unique_ptr<SQLite::Database>;

Connection connect(const std::string& path, int flags) {
  auto connection = std::make_unique<SQLite::Database>(path, flags | SQLite::OPEN_FULLMUTEX);
  ::sqlite3_busy_handler(connection->getHandle(), waitForOthers, nullptr);
  return connection;
}

// The path as a URI of SQLite's that says: nobody writes this file.
std::string immutableURI(std::string_view path) {
  std::string uri = "file:";
  for (const char c : path) {
    if (c == '%' || c == '?' || c == '#') {
      uri += fmt::format("%{:02X}", c);
    } else {
      uri += c;
    }
  }
  return uri + "?immutable=1";
}

bool canWriteIn(const fs::path& folder) { return ::faccessat(AT_FDCWD, folder.c_str(), W_OK, AT_EACCESS) == 0; }

// SQLite wants a log and its index beside a database even to read it. Where they are not there and can't be made,
// nobody writes: the file is all there is. A link's target has its log beside itself.
bool isSealed(const std::string& path) {
  std::error_code failure;
  const fs::path file = fs::canonical(path, failure);
  if (failure) return false;
  return !canWriteIn(file.parent_path()) &&
         fs::symlink_status(file.string() + "-wal", failure).type() == fs::file_type::not_found;
}

Connection open(const std::string& path, const char* schema) {
  Connection connection = isSealed(path) ? connect(immutableURI(path), SQLite::OPEN_READONLY | SQLite::OPEN_URI)
                                         : connect(path, SQLite::OPEN_READWRITE);
  if (::sqlite3_db_readonly(connection->getHandle(), "main") == 1) {
    connection->execAndGet("SELECT COUNT(*) FROM sqlite_master");  // tells what is no database
  } else {
    connection->exec("PRAGMA journal_mode=WAL");
    connection->exec(schema);
  }
  return connection;
}

}  // namespace

MailDatabase::Rows::~Rows() {
  if (!statement_) return;
  statement_->tryReset();  // whose failure is the one that its last step told
  statement_->clearBindings();
}

bool MailDatabase::Rows::next() {
  return saying([&] { return statement_->executeStep(); });
}

std::string MailDatabase::Rows::text(int column) const { return statement_->getColumn(column).getString(); }
std::int64_t MailDatabase::Rows::integer(int column) const { return statement_->getColumn(column).getInt64(); }
double MailDatabase::Rows::real(int column) const { return statement_->getColumn(column).getDouble(); }

void MailDatabase::Rows::lend(const std::string& value) {
  saying([&] { statement_->bindNoCopy(++bound_, value); });
}
void MailDatabase::Rows::bind(const std::string& value) {
  saying([&] { statement_->bind(++bound_, value); });
}
void MailDatabase::Rows::bind(std::int64_t value) {
  saying([&] { statement_->bind(++bound_, value); });
}
void MailDatabase::Rows::bind(double value) {
  saying([&] { statement_->bind(++bound_, value); });
}

MailDatabase::MailDatabase(const std::string& path, const char* schema)
    : connection_(saying([&] { return open(path, schema); })) {}

MailDatabase::~MailDatabase() = default;

SQLite::Statement& MailDatabase::prepared(std::string_view sql) {
  const auto known = statements_.find(sql);
  if (known != statements_.end()) return *known->second;
  auto statement = saying([&] { return std::make_unique<SQLite::Statement>(*connection_, std::string(sql)); });
  return *statements_.emplace(sql, std::move(statement)).first->second;
}

void MailDatabase::rollBack() noexcept {
  try {
    run("ROLLBACK");
  } catch (const MailError&) {
    // SQLite took it back by itself, as it does when the disk is full.
  }
}

std::string MailDatabase::emptyFile(const char* schema) {
  return saying([&] {
    SQLite::Database made(":memory:", SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
    made.exec(schema);
    sqlite3_int64 size = 0;
    const std::unique_ptr<unsigned char, void (*)(void*)> bytes(::sqlite3_serialize(made.getHandle(), "main", &size, 0),
                                                                ::sqlite3_free);
    if (!bytes) throw std::bad_alloc();
    std::string file(reinterpret_cast<const char*>(bytes.get()), static_cast<std::size_t>(size));
    file[18] = file[19] = 2;  // the versions that say WAL (the database file format, 1.3.2)
    return file;
  });
}

}  // namespace vesk
