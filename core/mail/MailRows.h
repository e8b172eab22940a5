#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "core/base/Json.h"
#include "core/mail/MailDatabase.h"
#include "core/mail/MailTypes.h"

// How messages lie in the mail database, row by row.
namespace vesk::mailRows {

// What summary() reads, from `messages m`; and what detail() does.
inline constexpr std::string_view summaryColumns =
    "m.id, m.account, m.folder, m.uid, m.message_id, m.subject, m.from_name, m.from_address, m.date, m.snippet, "
    "m.is_read, m.is_flagged, m.has_attachments";
inline constexpr std::string_view detailColumns =
    ", m.recipients, m.text, m.html, m.attachments, m.in_reply_to, m.refs";  // after those of the summary

MailSummary summary(const MailDatabase::Rows& row);
std::vector<MailSummary> summaries(MailDatabase::Rows rows);

// Lists whose JSON can't be read are empty, and counted.
MailDetail detail(const MailDatabase::Rows& row, std::size_t& skipped);

// A value that is stored as JSON; nullopt, and counted, when it is none of those that `from` reads.
template <typename Value>
std::optional<Value> decoded(std::string_view text, std::optional<Value> (*from)(const Json&), std::size_t& skipped) {
  std::optional<Value> value;
  try {
    value = from(Json::parse(text));
  } catch (const JsonError&) {
    // Somebody else wrote it.
  }
  if (!value) ++skipped;
  return value;
}

// The values in the first column that can be read; the others are counted.
template <typename Value>
std::vector<Value> decodedRows(MailDatabase::Rows rows, std::optional<Value> (*from)(const Json&),
                               std::size_t& skipped) {
  std::vector<Value> values;
  while (rows.next())
    if (auto value = decoded(rows.text(0), from, skipped)) values.push_back(std::move(*value));
  return values;
}

// The JSON that a statement gives, as far as it is any.
std::optional<Json> firstJson(MailDatabase::Rows rows);

// What is stored with these fields set anew: the others stay.
std::string replacing(std::optional<Json> stored, const Json& fields);

// What a list shows of a message, and what the index holds of it: what a reader sees. Most of the work of storing one,
// and nothing the database is needed for.
struct VisibleMail {
  explicit VisibleMail(const ParsedMail& mail);

  std::string snippet = {};
  std::string subject = {};
  std::string sender = {};
  std::string body = {};
};

// Inserts a message with its row of the index. False, and nothing done, when it is stored already.
bool insert(MailDatabase& database, const MailRecord& record, const VisibleMail& seen, std::string_view accountID,
            std::string_view path);

// Deletes the messages that meet a condition, with their rows of the index.
template <typename... Values>
void remove(MailDatabase& database, std::string_view condition, const Values&... values) {
  database.run(fmt::format("DELETE FROM message_search WHERE rowid IN (SELECT id FROM messages WHERE {})", condition),
               values...);
  database.run(fmt::format("DELETE FROM messages WHERE {}", condition), values...);
}

// A text as it is stored: well-formed UTF-8, with U+FFFD for each NUL, as many who read a database take that for the
// end.
class StorableText {
 public:
  explicit StorableText(const std::string& text);  // which has to outlive it
  explicit StorableText(std::string&&) = delete;
  StorableText(const StorableText&) = delete;
  StorableText& operator=(const StorableText&) = delete;

  const std::string& text() const { return repaired_ ? *repaired_ : text_; }

 private:
  const std::string& text_;
  std::optional<std::string> repaired_ = {};  // where it had to be
};

}  // namespace vesk::mailRows
