// The drafts of a mail store, and its outbox.

#include <mutex>
#include <utility>

#include <fmt/format.h>

#include "core/base/Json.h"
#include "core/mail/MailJson.h"
#include "core/mail/MailRows.h"
#include "core/mail/MailStore.h"

namespace vesk {

namespace {

// Whether a draft says what another does, whenever the two were saved.
bool saysTheSame(MailDraft draft, const MailDraft& other) {
  draft.updated = other.updated;
  return draft == other;
}

// The JSON of a draft as it is stored, as long as it says what this one does.
std::optional<Json> storedAs(MailDatabase& database, const MailDraft& draft) {
  auto stored = mailRows::firstJson(database.rows("SELECT json FROM drafts WHERE id = ?", draft.id));
  const auto now = stored ? mailDraftFrom(*stored) : std::nullopt;
  return now && saysTheSame(*now, draft) ? std::move(stored) : std::nullopt;
}

constexpr std::string_view outboxColumns = "SELECT json, message_id, text, begun, is_sent FROM outbox";

std::optional<OutboxMail> outboxMailOf(const MailDatabase::Rows& row, std::size_t& skipped) {
  auto draft = mailRows::decoded(row.text(0), mailDraftFrom, skipped);
  if (!draft) return std::nullopt;
  return OutboxMail{std::move(*draft), row.text(1), row.text(2), mailMoment(row.real(3)), row.boolean(4)};
}

std::optional<OutboxMail> outboxMailIn(MailDatabase& database, std::string_view draftID, std::size_t& skipped) {
  auto rows = database.rows(fmt::format("{} WHERE id = ?", outboxColumns), draftID);
  return rows.next() ? outboxMailOf(rows, skipped) : std::nullopt;
}

}  // namespace

void MailStore::save(const MailDraft& draft) {
  const std::lock_guard lock(mutex_);
  database_.transaction([&] {
    const auto stored = mailRows::firstJson(database_.rows("SELECT json FROM drafts WHERE id = ?", draft.id));
    database_.run("INSERT OR REPLACE INTO drafts (id, account, json, updated) VALUES (?, ?, ?, ?)", draft.id,
                  draft.accountID, mailRows::replacing(stored, toJson(draft)), mailSeconds(draft.updated));
  });
}

bool MailStore::add(const MailDraft& draft) {
  const std::lock_guard lock(mutex_);
  const auto added =
      database_.integer("INSERT OR IGNORE INTO drafts (id, account, json, updated) VALUES (?, ?, ?, ?) RETURNING 1",
                        draft.id, draft.accountID, toJson(draft).compact(), mailSeconds(draft.updated));
  return added.has_value();
}

std::vector<MailDraft> MailStore::drafts() const {
  const std::lock_guard lock(mutex_);
  return mailRows::decodedRows(database_.rows("SELECT json FROM drafts ORDER BY updated DESC"), mailDraftFrom,
                               skipped_);
}

std::optional<MailDraft> MailStore::draft(std::string_view id) const {
  const std::lock_guard lock(mutex_);
  auto rows = database_.rows("SELECT json FROM drafts WHERE id = ?", id);
  return rows.next() ? mailRows::decoded(rows.text(0), mailDraftFrom, skipped_) : std::nullopt;
}

void MailStore::removeDraft(std::string_view id) {
  const std::lock_guard lock(mutex_);
  database_.run("DELETE FROM drafts WHERE id = ?", id);
}

bool MailStore::remove(const MailDraft& draft) {
  const std::lock_guard lock(mutex_);
  bool isRemoved = false;
  database_.transaction([&] {
    isRemoved = storedAs(database_, draft).has_value();
    if (isRemoved) database_.run("DELETE FROM drafts WHERE id = ?", draft.id);
  });
  return isRemoved;
}

bool MailStore::begin(const OutboxMail& mail) {
  const std::lock_guard lock(mutex_);
  bool isBegun = false;
  database_.transaction([&] {
    const auto stored = storedAs(database_, mail.draft);
    if (!stored) return;
    const auto added = database_.integer(
        "INSERT OR IGNORE INTO outbox (id, account, json, message_id, text, begun, is_sent) "
        "VALUES (?, ?, ?, ?, ?, ?, ?) RETURNING 1",
        mail.draft.id, mail.draft.accountID, stored->compact(), mail.messageID, mail.text, mailSeconds(mail.begun),
        mail.isSent);
    isBegun = added.has_value();
  });
  return isBegun;
}

void MailStore::markSent(std::string_view draftID) {
  const std::lock_guard lock(mutex_);
  database_.run("UPDATE outbox SET is_sent = 1 WHERE id = ?", draftID);
}

void MailStore::finish(std::string_view draftID) {
  const std::lock_guard lock(mutex_);
  database_.transaction([&] {
    const auto mail = outboxMailIn(database_, draftID, skipped_);
    if (mail && storedAs(database_, mail->draft)) database_.run("DELETE FROM drafts WHERE id = ?", draftID);
    database_.run("DELETE FROM outbox WHERE id = ?", draftID);
  });
}

void MailStore::takeBack(std::string_view draftID) {
  const std::lock_guard lock(mutex_);
  database_.transaction([&] {
    database_.run(
        "INSERT OR IGNORE INTO drafts (id, account, json, updated) SELECT id, account, json, begun FROM outbox "
        "WHERE id = ?",
        draftID);
    database_.run("DELETE FROM outbox WHERE id = ?", draftID);
  });
}

std::vector<OutboxMail> MailStore::outbox() const {
  const std::lock_guard lock(mutex_);
  std::vector<OutboxMail> mails;
  auto rows = database_.rows(fmt::format("{} ORDER BY begun", outboxColumns));
  while (rows.next())
    if (auto mail = outboxMailOf(rows, skipped_)) mails.push_back(std::move(*mail));
  return mails;
}

std::optional<OutboxMail> MailStore::outboxMail(std::string_view draftID) const {
  const std::lock_guard lock(mutex_);
  return outboxMailIn(database_, draftID, skipped_);
}

}  // namespace vesk
