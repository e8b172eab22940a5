#pragma once

#include <SQLiteCpp/Database.h>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/mail/IMAPAnswers.h"
#include "core/mail/MailStore.h"
#include "tests/support/TemporaryFolder.h"

namespace vesk::test {

// A mail database in a folder of its own, also as others see it.
class MailFolders {
 public:
  const std::string& directory() const { return folder_.path(); }
  std::string file() const { return folder_.at("mail/mail.sqlite"); }
  const TemporaryFolder& folder() const { return folder_; }

  MailStore& store() {
    if (!store_) store_ = std::make_unique<MailStore>(directory());
    return *store_;
  }
  void close() { store_.reset(); }

  // Runs SQL on a connection of its own.
  void run(const std::string& sql) const { SQLite::Database(file(), SQLite::OPEN_READWRITE, 4'000).exec(sql); }
  std::string text(const std::string& sql) const {
    return SQLite::Database(file(), SQLite::OPEN_READONLY, 4'000).execAndGet(sql).getString();
  }
  int number(const std::string& sql) const { return std::stoi(text(sql)); }

  // Nothing is damaged, and the index holds exactly the messages.
  bool isSound() const {
    return text("PRAGMA integrity_check") == "ok" &&
           number(
               "SELECT COUNT(*) FROM messages m FULL JOIN message_search s ON s.rowid = m.id "
               "WHERE m.id IS NULL OR s.rowid IS NULL") == 0;
  }

 private:
  TemporaryFolder folder_;
  std::unique_ptr<MailStore> store_;
};

// The store, with a folder "INBOX" for an account.
inline MailStore& withInbox(MailStore& store, std::string_view accountID = "a") {
  store.saveFolders({{"INBOX", "Inbox", MailFolderRole::inbox}}, accountID);
  return store;
}

// A message that came so many hours after the first of 2026.
inline MailRecord record(std::uint32_t uid, std::string_view subject, std::string_view from, int hours = 0) {
  using namespace std::chrono_literals;
  return {.uid = uid,
          .mail = {.subject = std::string(subject),
                   .from = MailAddress{.address = std::string(from)},
                   .date = std::chrono::sys_days(2026y / 1 / 1) + std::chrono::hours(hours)}};
}

}  // namespace vesk::test
