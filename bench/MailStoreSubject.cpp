#include "bench/MailStoreSubject.h"

#include <array>
#include <chrono>
#include <memory>
#include <sqlite3.h>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "bench/Measuring.h"
#include "bench/generator/MailText.h"
#include "bench/generator/Random.h"
#include "bench/generator/Words.h"
#include "core/base/Error.h"
#include "core/mail/IMAPAnswers.h"
#include "core/mail/MIME.h"
#include "core/mail/MailStore.h"

namespace vesk::bench {

namespace {

constexpr std::size_t insertedMessages = 10'000;
constexpr std::size_t searchedMessages = 100'000;
constexpr std::string_view searchedWord = "harbour";

std::string databaseIn(const MadeFolder& folder) { return folder.path() + "/mail/mail.sqlite"; }

// SQLite as anybody uses it.
class BareConnection {
 public:
  explicit BareConnection(const std::string& path) { check(::sqlite3_open(path.c_str(), &connection_)); }
  ~BareConnection() { ::sqlite3_close(connection_); }
  BareConnection(const BareConnection&) = delete;
  BareConnection& operator=(const BareConnection&) = delete;

  void run(const char* sql) { check(::sqlite3_exec(connection_, sql, nullptr, nullptr, nullptr)); }

  using Statement = std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)>;
  Statement prepare(const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    check(::sqlite3_prepare_v2(connection_, sql.c_str(), -1, &statement, nullptr));
    return {statement, ::sqlite3_finalize};
  }

 private:
  void check(int code) {
    if (code != SQLITE_OK) throw Error(::sqlite3_errmsg(connection_));
  }

  sqlite3* connection_ = nullptr;
};

constexpr std::string_view messageColumns =
    "account, folder, uid, message_id, subject, from_name, from_address, date, snippet, is_read, is_flagged, "
    "has_attachments, recipients, text, html, attachments, in_reply_to, refs";
constexpr std::size_t columnCount = 18;

// A row of `messages`, and what else the index is given for it.
struct Row {
  std::array<std::string, columnCount> columns = {};
  std::string sender = {};
  std::string body = {};
};

void bind(sqlite3_stmt* statement, int place, const std::string& text) {
  ::sqlite3_bind_text(statement, place, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
}

std::string textOf(sqlite3_stmt* statement, int column) {
  const auto* text = reinterpret_cast<const char*>(::sqlite3_column_text(statement, column));
  return {text, static_cast<std::size_t>(::sqlite3_column_bytes(statement, column))};
}

// What the store made of the messages.
std::vector<Row> rowsOf(const std::string& database) {
  BareConnection connection(database);
  const auto statement =
      connection.prepare(fmt::format("SELECT {}, sender, body FROM messages m JOIN (SELECT rowid, sender, body FROM "
                                     "message_search) s ON s.rowid = m.id",
                                     messageColumns));
  std::vector<Row> rows;
  while (::sqlite3_step(statement.get()) == SQLITE_ROW) {
    Row& row = rows.emplace_back();
    for (std::size_t i = 0; i < columnCount; ++i) row.columns[i] = textOf(statement.get(), static_cast<int>(i));
    row.sender = textOf(statement.get(), columnCount);
    row.body = textOf(statement.get(), columnCount + 1);
  }
  return rows;
}

void insertBare(BareConnection& connection, const std::vector<Row>& rows) {
  const auto message = connection.prepare(fmt::format(
      "INSERT OR IGNORE INTO messages ({}) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?) RETURNING id",
      messageColumns));
  const auto index =
      connection.prepare("INSERT INTO message_search (rowid, subject, sender, body) VALUES (?, ?, ?, ?)");
  connection.run("BEGIN IMMEDIATE");
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < columnCount; ++i) bind(message.get(), static_cast<int>(i + 1), row.columns[i]);
    ::sqlite3_step(message.get());
    ::sqlite3_bind_int64(index.get(), 1, ::sqlite3_column_int64(message.get(), 0));
    ::sqlite3_reset(message.get());
    bind(index.get(), 2, row.columns[4]);
    bind(index.get(), 3, row.sender);
    bind(index.get(), 4, row.body);
    ::sqlite3_step(index.get());
    ::sqlite3_reset(index.get());
  }
  connection.run("COMMIT");
}

void addFolder(MailStore& store) { store.saveFolders({{"INBOX", "Inbox", MailFolderRole::inbox}}, "account"); }

void insert(MailStore& store, const std::vector<MailRecord>& records) {
  if (store.insert(records, "account", "INBOX") != records.size()) throw Error("The mail store left messages out.");
}

struct Mails {
  std::vector<MailRecord> records = {};
  std::vector<Row> rows = {};  // of the same messages
};

Mails makeMails() {
  Mails mails;
  for (std::uint32_t uid = 1; uid <= insertedMessages; ++uid)
    mails.records.push_back({.uid = uid, .mail = MIME::parse(mailText(uid))});
  const MadeFolder folder;
  MailStore store(folder.path());
  addFolder(store);
  insert(store, mails.records);
  mails.rows = rowsOf(databaseIn(folder));
  return mails;
}

const Mails& mails() {
  static const Mails made = makeMails();
  return made;
}

ParsedMail searchedMail(Random& random) {
  ParsedMail mail{
      .subject = fmt::format("{} {}", random.pick(language(Script::english).words), random.below(1000)),
      .from = MailAddress{.address = fmt::format("{}@example.org", random.below(500))},
      .date = std::chrono::sys_days(std::chrono::year(2020) / 1 / 1) + std::chrono::minutes(random.below(3'000'000))};
  for (int word = 0; word < 120; ++word) mail.text.append(random.pick(language(Script::english).words)).append(" ");
  if (random.percent(20)) mail.text += searchedWord;
  return mail;
}

void fill(MailStore& store) {
  addFolder(store);
  Random random(50);
  std::vector<MailRecord> records;
  for (std::uint32_t uid = 1; uid <= searchedMessages; ++uid) {
    records.push_back({.uid = uid, .mail = searchedMail(random)});
    if (records.size() < 10'000) continue;
    insert(store, records);
    records.clear();
  }
}

// A database with both ways to ask it.
struct Searched {
  Searched() { fill(store); }

  MadeFolder folder = {};
  MailStore store{folder.path()};
  BareConnection connection{databaseIn(folder)};
  BareConnection::Statement statement = connection.prepare(
      "SELECT m.id, m.account, m.folder, m.uid, m.message_id, m.subject, m.from_name, m.from_address, m.date, "
      "m.snippet, m.is_read, m.is_flagged, m.has_attachments FROM messages m JOIN message_search s ON s.rowid = m.id "
      "WHERE message_search MATCH ? ORDER BY m.date DESC LIMIT ? OFFSET ?");
};

Searched& searched() {
  static Searched made;
  return made;
}

constexpr int listed = 50;

// The ids, as proof of the work.
std::vector<std::int64_t> searchBare(Searched& mail) {
  sqlite3_stmt* statement = mail.statement.get();
  const std::string expression = MailStore::searchExpression(searchedWord);
  bind(statement, 1, expression);
  ::sqlite3_bind_int(statement, 2, listed);
  ::sqlite3_bind_int(statement, 3, 0);
  std::vector<std::int64_t> ids;
  while (::sqlite3_step(statement) == SQLITE_ROW) ids.push_back(::sqlite3_column_int64(statement, 0));
  ::sqlite3_reset(statement);
  return ids;
}

}  // namespace

namespace probe {

double mailInsert(Subject&) {
  const auto& records = mails().records;
  const MadeFolder folder;
  MailStore store(folder.path());
  addFolder(store);
  return millisecondsOf([&] { insert(store, records); });
}

double bareMailInsert(Subject&) {
  const auto& rows = mails().rows;
  const MadeFolder folder;
  MailStore(folder.path()).accounts();  // makes the tables
  BareConnection connection(databaseIn(folder));
  return millisecondsOf([&] { insertBare(connection, rows); });
}

double mailSearch(Subject&) {
  auto& store = searched().store;
  std::vector<MailSummary> found;
  const double time =
      millisecondsOf([&] { found = store.messages({.words = std::string(searchedWord), .limit = listed}); });
  if (found.size() != listed) throw Error("The mail store didn't find what is there.");
  return time;
}

double bareMailSearch(Subject&) {
  std::vector<std::int64_t> found;
  const double time = millisecondsOf([&] { found = searchBare(searched()); });
  if (found.size() != listed) throw Error("SQLite didn't find what is there.");
  return time;
}

}  // namespace probe

}  // namespace vesk::bench
