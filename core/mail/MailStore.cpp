#include "core/mail/MailStore.h"

#include <algorithm>
#include <limits>
#include <tuple>
#include <unordered_map>

#include <fmt/format.h>

#include "core/base/Json.h"
#include "core/base/Text.h"
#include "core/mail/IMAPAnswers.h"
#include "core/mail/MailDatabaseFile.h"
#include "core/mail/MailJson.h"
#include "core/mail/MailRows.h"
#include "core/platform/Parallel.h"

namespace vesk {

namespace {

constexpr std::string_view inFolderOfRole =
    "m.folder IN (SELECT path FROM folders f WHERE f.account = m.account AND f.role = ?)";

constexpr std::string_view folderColumns =
    "SELECT f.account, f.path, f.name, f.role, (SELECT COUNT(*) FROM messages m WHERE m.account = f.account "
    "AND m.folder = f.path AND m.is_read = 0) FROM folders f";

MailFolder folderOf(const MailDatabase::Rows& row) {
  return {.accountID = row.text(0),
          .path = row.text(1),
          .name = row.text(2),
          .role = mailFolderRoleNamed(row.text(3)).value_or(MailFolderRole::other),
          .unread = static_cast<std::size_t>(row.integer(4))};
}

std::vector<std::string> storedPaths(MailDatabase& database, std::string_view accountID) {
  std::vector<std::string> paths;
  auto rows = database.rows("SELECT path FROM folders WHERE account = ?", accountID);
  while (rows.next()) paths.push_back(rows.text(0));
  return paths;
}

std::unordered_set<std::string> writtenTo(MailDatabase& database, std::size_t& skipped) {
  std::unordered_set<std::string> addresses;
  auto rows = database.rows(fmt::format("SELECT m.recipients FROM messages m WHERE {}", inFolderOfRole),
                            name(MailFolderRole::sent));
  while (rows.next()) {
    const auto recipients = mailRows::decoded(rows.text(0), mailRecipientsFrom, skipped);
    if (!recipients) continue;
    for (const MailAddress& to : recipients->to) addresses.insert(text::key(to.address));
    for (const MailAddress& cc : recipients->cc) addresses.insert(text::key(cc.address));
  }
  return addresses;
}

template <typename... Values>
std::optional<MailSummary> firstSummary(MailDatabase& database, std::string_view condition, const Values&... values) {
  auto rows =
      database.rows(fmt::format("SELECT {} FROM messages m WHERE {}", mailRows::summaryColumns, condition), values...);
  return rows.next() ? std::optional(mailRows::summary(rows)) : std::nullopt;
}

// The id of a message that is gone may be another's: where it is on the server tells them apart.
bool isSame(const MailSummary& now, const MailSummary& then) {
  const auto looks = [](const MailSummary& mail) {
    return std::tie(mail.accountID, mail.folder, mail.uid, mail.messageID, mail.isRead, mail.isFlagged);
  };
  return looks(now) == looks(then);
}

void applyIn(MailDatabase& database, const MailChange& change, std::int64_t messageID) {
  switch (change.kind) {
    case MailChange::Kind::read:
      return database.run("UPDATE messages SET is_read = ? WHERE id = ?", change.isOn, messageID);
    case MailChange::Kind::flagged:
      return database.run("UPDATE messages SET is_flagged = ? WHERE id = ?", change.isOn, messageID);
    case MailChange::Kind::move: return mailRows::remove(database, "id = ?", messageID);
  }
}

void queueIn(MailDatabase& database, const MailChange& change) {
  database.run("INSERT INTO changes (account, json) VALUES (?, ?)", change.accountID, toJson(change).compact());
}

// What the queue makes of a message.
struct QueuedFlags {
  std::optional<bool> isRead = {};
  std::optional<bool> isFlagged = {};
};

// By the UIDs of a folder's messages.
std::unordered_map<std::uint32_t, QueuedFlags> queuedFlags(MailDatabase& database, std::string_view accountID,
                                                           std::string_view path, std::size_t& skipped) {
  std::unordered_map<std::uint32_t, QueuedFlags> queued;
  auto rows = database.rows("SELECT json FROM changes WHERE account = ? ORDER BY id", accountID);
  for (const MailChange& change : mailRows::decodedRows(std::move(rows), mailChangeFrom, skipped)) {
    if (change.folder != path || !change.uid) continue;
    if (change.kind == MailChange::Kind::read) queued[*change.uid].isRead = change.isOn;
    if (change.kind == MailChange::Kind::flagged) queued[*change.uid].isFlagged = change.isOn;
  }
  return queued;
}

std::int64_t rowCount(std::size_t count) {
  return static_cast<std::int64_t>(std::min(count, std::size_t{std::numeric_limits<std::int64_t>::max()}));
}

}  // namespace

MailStore::MailStore(const std::string& directory) : MailStore(Place{mailDatabaseFile::make(directory)}) {}

MailStore::MailStore(const Place& place) : database_(place.file, mailDatabaseFile::schema) {}

std::unique_ptr<MailStore> MailStore::openIfThere(const std::string& directory) {
  auto file = mailDatabaseFile::find(directory);
  return file ? std::unique_ptr<MailStore>(new MailStore(Place{std::move(*file)})) : nullptr;
}

std::size_t MailStore::skipped() const {
  const std::lock_guard lock(mutex_);
  return skipped_;
}

std::vector<MailAccount> MailStore::accounts() const {
  const std::lock_guard lock(mutex_);
  return mailRows::decodedRows(database_.rows("SELECT json FROM accounts ORDER BY rowid"), mailAccountFrom, skipped_);
}

void MailStore::save(const MailAccount& account) {
  const std::lock_guard lock(mutex_);
  database_.transaction([&] {
    const auto stored = mailRows::firstJson(database_.rows("SELECT json FROM accounts WHERE id = ?", account.id));
    database_.run("INSERT OR REPLACE INTO accounts (id, json) VALUES (?, ?)", account.id,
                  mailRows::replacing(stored, toJson(account)));
  });
}

void MailStore::remove(std::string_view accountID) {
  const std::lock_guard lock(mutex_);
  database_.transaction([&] {
    mailRows::remove(database_, "account = ?", accountID);
    for (const char* table : {"folders", "drafts", "outbox", "changes"})
      database_.run(fmt::format("DELETE FROM {} WHERE account = ?", table), accountID);
    database_.run("DELETE FROM accounts WHERE id = ?", accountID);
  });
}

void MailStore::saveFolders(const std::vector<IMAPFolder>& folders, std::string_view accountID) {
  std::set<std::string_view> listed;
  for (const IMAPFolder& folder : folders) listed.insert(folder.path);
  const std::lock_guard lock(mutex_);
  database_.transaction([&] {
    for (const IMAPFolder& folder : folders) {
      database_.run(
          "INSERT INTO folders (account, path, name, role) VALUES (?, ?, ?, ?) ON CONFLICT (account, path) "
          "DO UPDATE SET name = excluded.name, role = excluded.role",
          accountID, folder.path, mailRows::StorableText(folder.name).text(), name(folder.role));
    }
    for (const std::string& path : storedPaths(database_, accountID)) {
      if (listed.contains(path)) continue;
      mailRows::remove(database_, "account = ? AND folder = ?", accountID, path);
      database_.run("DELETE FROM folders WHERE account = ? AND path = ?", accountID, path);
    }
  });
}

std::vector<MailFolder> MailStore::folders(std::optional<std::string_view> accountID) const {
  const std::lock_guard lock(mutex_);
  std::vector<std::string> values;
  if (accountID) values.emplace_back(*accountID);
  auto rows = database_.rows(
      fmt::format("{}{} ORDER BY f.account, f.name", folderColumns, accountID ? " WHERE f.account = ?" : ""), values);
  std::vector<MailFolder> folders;
  while (rows.next()) folders.push_back(folderOf(rows));
  return folders;
}

std::vector<MailFolder> MailStore::folderNames() const {
  const std::lock_guard lock(mutex_);
  auto rows = database_.rows("SELECT f.account, f.path, f.name, f.role, 0 FROM folders f ORDER BY f.account, f.name");
  std::vector<MailFolder> folders;
  while (rows.next()) folders.push_back(folderOf(rows));
  return folders;
}

bool MailStore::narrow(MailQuery& query, std::string_view folder) const {
  auto role = mailFolderRoleNamed(text::key(folder));
  if (role == MailFolderRole::other) role.reset();  // says nothing
  std::vector<MailFolder> found = folderNames();
  std::erase_if(found, [&](const MailFolder& each) {
    if (query.accountID && each.accountID != *query.accountID) return true;
    return role ? each.role != *role
                : !text::equalIgnoringCase(each.path, folder) && !text::equalIgnoringCase(each.name, folder);
  });
  if (role && found.size() != 1) {
    query.role = role;
    return true;
  }
  if (found.empty()) return false;
  // By its path it is found through an index, which a role's folders are not.
  query.accountID = found.front().accountID;
  query.folder = found.front().path;
  return true;
}

std::optional<MailFolder> MailStore::folder(std::string_view accountID, MailFolderRole role) const {
  const std::lock_guard lock(mutex_);
  auto rows = database_.rows(
      fmt::format("{} WHERE f.account = ? AND f.role = ? ORDER BY f.account, f.name LIMIT 1", folderColumns), accountID,
      name(role));
  return rows.next() ? std::optional(folderOf(rows)) : std::nullopt;
}

std::uint32_t MailStore::syncState(std::string_view accountID, std::string_view path, std::uint32_t uidValidity) {
  const std::lock_guard lock(mutex_);
  // Nullopt when the folder is there with another UIDVALIDITY.
  const auto known = [&]() -> std::optional<std::uint32_t> {
    auto state =
        database_.rows("SELECT uid_validity, last_uid FROM folders WHERE account = ? AND path = ?", accountID, path);
    if (!state.next()) return 0;
    return state.integer(0) == uidValidity ? std::optional(static_cast<std::uint32_t>(state.integer(1))) : std::nullopt;
  };
  if (const auto uid = known()) return *uid;
  std::uint32_t lastUID = 0;
  database_.transaction([&] {
    if (const auto uid = known()) {  // another process was first
      lastUID = *uid;
      return;
    }
    mailRows::remove(database_, "account = ? AND folder = ?", accountID, path);
    database_.run("UPDATE folders SET uid_validity = ?, last_uid = 0 WHERE account = ? AND path = ?", uidValidity,
                  accountID, path);
  });
  return lastUID;
}

void MailStore::setLastUID(std::uint32_t uid, std::string_view accountID, std::string_view path) {
  const std::lock_guard lock(mutex_);
  database_.run("UPDATE folders SET last_uid = MAX(last_uid, ?) WHERE account = ? AND path = ?", uid, accountID, path);
}

std::set<std::uint32_t> MailStore::storedUIDs(std::string_view accountID, std::string_view path) const {
  const std::lock_guard lock(mutex_);
  std::set<std::uint32_t> uids;
  auto rows = database_.rows("SELECT uid FROM messages WHERE account = ? AND folder = ?", accountID, path);
  while (rows.next()) uids.insert(static_cast<std::uint32_t>(rows.integer(0)));
  return uids;
}

std::size_t MailStore::insert(const std::vector<MailRecord>& records, std::string_view accountID,
                              std::string_view path) {
  const std::lock_guard lock(mutex_);
  std::size_t inserted = 0;
  database_.transaction([&] {
    constexpr std::size_t batch = 256;  // made ready at once; few, as each is held twice meanwhile
    for (std::size_t begin = 0; begin < records.size(); begin += batch) {
      std::vector<std::optional<mailRows::VisibleMail>> seen(std::min(batch, records.size() - begin));
      inParallel(seen.size(), [&](std::size_t i) { seen[i].emplace(records[begin + i].mail); });
      for (std::size_t i = 0; i < seen.size(); ++i)
        if (mailRows::insert(database_, records[begin + i], *seen[i], accountID, path)) ++inserted;
    }
  });
  return inserted;
}

std::vector<MailFlags> MailStore::flags(std::string_view accountID, std::string_view path) const {
  const std::lock_guard lock(mutex_);
  std::vector<MailFlags> flags;
  auto rows = database_.rows(
      "SELECT uid, is_read, is_flagged FROM messages WHERE account = ? AND folder = ? ORDER BY uid", accountID, path);
  while (rows.next()) flags.push_back({static_cast<std::uint32_t>(rows.integer(0)), rows.boolean(1), rows.boolean(2)});
  return flags;
}

void MailStore::updateFlags(const std::vector<MailFlags>& flags, std::string_view accountID, std::string_view path) {
  const std::lock_guard lock(mutex_);
  database_.transaction([&] {
    const auto queued = queuedFlags(database_, accountID, path, skipped_);
    for (const MailFlags& message : flags) {
      const auto own = queued.find(message.uid);
      const QueuedFlags pending = own == queued.end() ? QueuedFlags{} : own->second;
      database_.run("UPDATE messages SET is_read = ?, is_flagged = ? WHERE account = ? AND folder = ? AND uid = ?",
                    pending.isRead.value_or(message.isRead), pending.isFlagged.value_or(message.isFlagged), accountID,
                    path, message.uid);
    }
  });
}

void MailStore::remove(const std::vector<std::uint32_t>& uids, std::string_view accountID, std::string_view path) {
  const std::lock_guard lock(mutex_);
  database_.transaction([&] {
    for (const std::uint32_t uid : uids)
      mailRows::remove(database_, "account = ? AND folder = ? AND uid = ?", accountID, path, uid);
  });
}

namespace {

// What of a query says which messages are wanted: " JOIN … WHERE …", and the values of its `?`.
struct Selection {
  std::string sql = {};
  std::vector<std::string> values = {};
};

Selection selectionOf(const MailQuery& query) {
  std::vector<std::string> conditions;
  std::vector<std::string> values;
  const auto require = [&](std::string_view condition, std::string value) {
    conditions.emplace_back(condition);
    values.push_back(std::move(value));
  };
  const std::string expression = MailStore::searchExpression(query.words);
  if (!expression.empty()) require("message_search MATCH ?", expression);
  if (query.accountID) require("m.account = ?", *query.accountID);
  if (query.folder) require("m.folder = ?", *query.folder);
  if (query.role) require(inFolderOfRole, std::string(name(*query.role)));
  if (query.unreadOnly) conditions.emplace_back("m.is_read = 0");
  return {fmt::format("{}{}{}", expression.empty() ? "" : " JOIN message_search s ON s.rowid = m.id",
                      conditions.empty() ? "" : " WHERE ", text::join(conditions, " AND ")),
          std::move(values)};
}

}  // namespace

std::vector<MailSummary> MailStore::messages(const MailQuery& query) const {
  const auto [selection, values] = selectionOf(query);
  const std::string sql = fmt::format("SELECT {} FROM messages m{} ORDER BY m.date DESC LIMIT ? OFFSET ?",
                                      mailRows::summaryColumns, selection);
  const std::lock_guard lock(mutex_);
  return mailRows::summaries(database_.rows(sql, values, rowCount(query.limit), rowCount(query.offset)));
}

std::size_t MailStore::count(const MailQuery& query) const {
  const auto [selection, values] = selectionOf(query);
  const std::lock_guard lock(mutex_);
  const auto counted = database_.integer(fmt::format("SELECT COUNT(*) FROM messages m{}", selection), values);
  return static_cast<std::size_t>(counted.value_or(0));
}

std::optional<MailDetail> MailStore::message(std::int64_t id) const {
  const std::lock_guard lock(mutex_);
  auto rows = database_.rows(
      fmt::format("SELECT {}{} FROM messages m WHERE m.id = ?", mailRows::summaryColumns, mailRows::detailColumns), id);
  return rows.next() ? std::optional(mailRows::detail(rows, skipped_)) : std::nullopt;
}

std::vector<MailSummary> MailStore::waitingOnYou(std::size_t limit) const {
  const std::lock_guard lock(mutex_);
  const auto people = writtenTo(database_, skipped_);
  auto waiting = mailRows::summaries(database_.rows(
      fmt::format("SELECT {} FROM messages m WHERE {} AND (m.is_flagged = 1 OR m.is_read = 0) ORDER BY m.date DESC "
                  "LIMIT 2000",
                  mailRows::summaryColumns, inFolderOfRole),
      name(MailFolderRole::inbox)));
  std::erase_if(waiting, [&](const MailSummary& mail) { return !people.contains(text::key(mail.from.address)); });
  if (waiting.size() > limit) waiting.resize(limit);
  return waiting;
}

std::unordered_set<std::string> MailStore::correspondents() const {
  const std::lock_guard lock(mutex_);
  return writtenTo(database_, skipped_);
}

std::optional<MailSummary> MailStore::find(std::string_view accountID, std::string_view path, std::uint32_t uid) const {
  const std::lock_guard lock(mutex_);
  return firstSummary(database_, "m.account = ? AND m.folder = ? AND m.uid = ?", accountID, path, uid);
}

std::optional<MailSummary> MailStore::find(std::string_view accountID, std::string_view path,
                                           std::string_view messageID) const {
  const std::lock_guard lock(mutex_);
  return firstSummary(database_, "m.account = ? AND m.folder = ? AND m.message_id = ? ORDER BY m.uid DESC LIMIT 1",
                      accountID, path, messageID);
}

void MailStore::apply(const MailChange& change, std::int64_t messageID) {
  const std::lock_guard lock(mutex_);
  database_.transaction([&] { applyIn(database_, change, messageID); });
}

void MailStore::queue(const MailChange& change) {
  const std::lock_guard lock(mutex_);
  queueIn(database_, change);
}

void MailStore::queue(const std::vector<MailChange>& changes) {
  const std::lock_guard lock(mutex_);
  database_.transaction([&] {
    for (const MailChange& change : changes) queueIn(database_, change);
  });
}

bool MailStore::change(const MailSummary& mail, const std::vector<MailChange>& changes) {
  const std::lock_guard lock(mutex_);
  bool isThere = false;
  database_.transaction([&] {
    const auto now = firstSummary(database_, "m.id = ?", mail.id);
    isThere = now && isSame(*now, mail);
    if (!isThere) return;
    for (const MailChange& change : changes) {
      applyIn(database_, change, mail.id);
      queueIn(database_, change);
    }
  });
  return isThere;
}

std::vector<std::pair<std::int64_t, MailChange>> MailStore::pendingChanges(std::string_view accountID) const {
  const std::lock_guard lock(mutex_);
  std::vector<std::pair<std::int64_t, MailChange>> pending;
  auto rows = database_.rows("SELECT id, json FROM changes WHERE account = ? ORDER BY id", accountID);
  while (rows.next()) {
    auto change = mailRows::decoded(rows.text(1), mailChangeFrom, skipped_);
    if (change) pending.emplace_back(rows.integer(0), std::move(*change));
  }
  return pending;
}

void MailStore::finishChange(std::int64_t place) {
  const std::lock_guard lock(mutex_);
  database_.run("DELETE FROM changes WHERE id = ?", place);
}

std::string MailStore::searchExpression(std::string_view words) {
  constexpr std::size_t countedWords = 32;
  constexpr std::size_t countedBytes = 1'000;
  const std::string counted(words.substr(0, countedBytes));
  const std::string line = text::collapseWhitespace(mailRows::StorableText(counted).text());
  if (line.empty()) return {};
  std::vector<std::string_view> typed = text::split(line, ' ');
  if (typed.size() > countedWords) typed.resize(countedWords);
  std::vector<std::string> pieces;
  for (const std::string_view word : typed) {
    std::string& piece = pieces.emplace_back(word);
    std::erase(piece, '"');
    piece = fmt::format("\"{}\"*", piece);
  }
  return text::join(pieces, " ");
}

}  // namespace vesk
