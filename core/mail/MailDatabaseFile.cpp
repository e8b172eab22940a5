#include "core/mail/MailDatabaseFile.h"

#include <filesystem>
#include <system_error>

#include "core/mail/MailDatabase.h"
#include "core/mail/MailError.h"
#include "core/platform/FileError.h"
#include "core/platform/Folder.h"

namespace vesk::mailDatabaseFile {

const char* const schema = R"(
CREATE TABLE IF NOT EXISTS accounts (id TEXT PRIMARY KEY, json TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS folders (
    account TEXT NOT NULL,
    path TEXT NOT NULL,
    name TEXT NOT NULL,
    role TEXT NOT NULL,
    uid_validity INTEGER NOT NULL DEFAULT 0,
    last_uid INTEGER NOT NULL DEFAULT 0,
    PRIMARY KEY (account, path)
);
CREATE TABLE IF NOT EXISTS messages (
    id INTEGER PRIMARY KEY,
    account TEXT NOT NULL,
    folder TEXT NOT NULL,
    uid INTEGER NOT NULL,
    message_id TEXT NOT NULL,
    subject TEXT NOT NULL,
    from_name TEXT NOT NULL,
    from_address TEXT NOT NULL,
    date REAL NOT NULL,
    snippet TEXT NOT NULL,
    is_read INTEGER NOT NULL,
    is_flagged INTEGER NOT NULL,
    has_attachments INTEGER NOT NULL,
    recipients TEXT NOT NULL,
    text TEXT NOT NULL,
    html TEXT NOT NULL,
    attachments TEXT NOT NULL,
    in_reply_to TEXT NOT NULL,
    refs TEXT NOT NULL,
    UNIQUE (account, folder, uid)
);
CREATE INDEX IF NOT EXISTS messages_by_date ON messages (account, folder, date DESC);
CREATE VIRTUAL TABLE IF NOT EXISTS message_search USING fts5(subject, sender, body, tokenize = 'unicode61 remove_diacritics 2');
CREATE TABLE IF NOT EXISTS drafts (id TEXT PRIMARY KEY, account TEXT NOT NULL, json TEXT NOT NULL, updated REAL NOT NULL);
CREATE TABLE IF NOT EXISTS outbox (
    id TEXT PRIMARY KEY,
    account TEXT NOT NULL,
    json TEXT NOT NULL,
    message_id TEXT NOT NULL,
    text TEXT NOT NULL,
    begun REAL NOT NULL,
    is_sent INTEGER NOT NULL
);
CREATE TABLE IF NOT EXISTS changes (id INTEGER PRIMARY KEY, account TEXT NOT NULL, json TEXT NOT NULL);
)";

namespace {

namespace fs = std::filesystem;

constexpr const char* name = "mail.sqlite";
constexpr const char* logName = "mail.sqlite-wal";

fs::path folderIn(const std::string& directory) {
  fs::path base = fs::absolute(directory).lexically_normal();
  if (!base.has_filename()) base = base.parent_path();  // it was given with a "/" at its end
  return base / "mail";
}

// SQLite would take an empty file for a database without tables.
void requireContent(const fs::path& file) {
  std::error_code failure;
  if (fs::file_size(file, failure) == 0 && !failure) throw MailError::refusedByDatabase("file is not a database");
}

}  // namespace

std::string make(const std::string& directory) {
  const fs::path path = folderIn(directory);
  makePrivateFolder(path.parent_path());
  makePrivateFolder(path);

  const Folder folder = Folder::open(path);
  const bool hasLog = folder.exists(logName);  // asked first: another process may be making both
  if (!folder.exists(name)) {
    if (hasLog) throw MailError::refusedByDatabase("it is gone, and only its log is there");
    // Whole from the start, so that one that is empty is always one that was damaged.
    folder.createFile(name, MailDatabase::emptyFile(schema), 0600);
  }
  requireContent(path / name);
  return path / name;
}

std::optional<std::string> find(const std::string& directory) {
  const fs::path file = folderIn(directory) / name;
  std::error_code failure;
  if (fs::status(file, failure).type() == fs::file_type::not_found) return std::nullopt;
  requireContent(file);
  return file;
}

}  // namespace vesk::mailDatabaseFile
