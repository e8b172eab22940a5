#include "core/mail/MailRows.h"

#include <utility>

#include "core/base/Text.h"
#include "core/mail/MIME.h"
#include "core/mail/MailJson.h"

namespace vesk::mailRows {

namespace {

constexpr std::size_t snippetLength = 200;  // characters

// As it is indexed: people look for what they see.
std::string visible(std::string_view text) { return MIME::visibleText(text).text; }

}  // namespace

StorableText::StorableText(const std::string& text) : text_(text) {
  const bool hasNul = text.find('\0') != std::string::npos;
  if (!hasNul && text::isValidUtf8(text)) return;
  repaired_ = text::wellFormed(text);
  if (!hasNul) return;
  const auto pieces = text::split(*repaired_, '\0');
  repaired_ = text::join({pieces.begin(), pieces.end()}, "\uFFFD");
}

MailSummary summary(const MailDatabase::Rows& row) {
  return {.id = row.integer(0),
          .accountID = row.text(1),
          .folder = row.text(2),
          .uid = static_cast<std::uint32_t>(row.integer(3)),
          .messageID = row.text(4),
          .subject = row.text(5),
          .from = {.name = row.text(6), .address = row.text(7)},
          .date = mailMoment(row.real(8)),
          .snippet = row.text(9),
          .isRead = row.boolean(10),
          .isFlagged = row.boolean(11),
          .hasAttachments = row.boolean(12)};
}

std::vector<MailSummary> summaries(MailDatabase::Rows rows) {
  std::vector<MailSummary> found;
  while (rows.next()) found.push_back(summary(rows));
  return found;
}

MailDetail detail(const MailDatabase::Rows& row, std::size_t& skipped) {
  MailRecipients recipients = decoded(row.text(13), mailRecipientsFrom, skipped).value_or(MailRecipients());
  return {.summary = summary(row),
          .to = std::move(recipients.to),
          .cc = std::move(recipients.cc),
          .replyTo = std::move(recipients.replyTo),
          .text = row.text(14),
          .html = row.text(15),
          .attachments = decoded(row.text(16), mailAttachmentsFrom, skipped).value_or(std::vector<MailAttachment>()),
          .inReplyTo = row.text(17),
          .references = row.text(18)};
}

std::optional<Json> firstJson(MailDatabase::Rows rows) {
  try {
    return rows.next() ? std::optional(Json::parse(rows.text(0))) : std::nullopt;
  } catch (const JsonError&) {
    return std::nullopt;
  }
}

std::string replacing(std::optional<Json> stored, const Json& fields) {
  if (!stored || !stored->object()) return fields.compact();
  for (const auto& [key, value] : *fields.object()) (*stored)[key] = value;
  return stored->compact();
}

VisibleMail::VisibleMail(const ParsedMail& mail) {
  const MailAddress from = mail.from.value_or(MailAddress());
  const StorableText plain(mail.text);
  const StorableText html(mail.html);
  subject = visible(StorableText(mail.subject).text());
  sender = visible(fmt::format("{} {}", StorableText(from.name).text(), StorableText(from.address).text()));
  body = MIME::visibleBody(plain.text(), html.text()).text;
  const bool isPlain = !MIME::isReadAsHTML(plain.text(), html.text());
  snippet = isPlain ? MIME::snippet(body, snippetLength) : MIME::snippetOfText(body, snippetLength);
}

bool insert(MailDatabase& database, const MailRecord& record, const VisibleMail& seen, std::string_view accountID,
            std::string_view path) {
  const ParsedMail& mail = record.mail;
  const MailAddress from = mail.from.value_or(MailAddress());
  const auto id = database.integer(
      "INSERT OR IGNORE INTO messages (account, folder, uid, message_id, subject, from_name, from_address, date, "
      "snippet, is_read, is_flagged, has_attachments, recipients, text, html, attachments, in_reply_to, refs) "
      "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?) RETURNING id",
      accountID, path, record.uid, StorableText(mail.messageID).text(), StorableText(mail.subject).text(),
      StorableText(from.name).text(), StorableText(from.address).text(), mailSeconds(mail.date.value_or(distantPast)),
      seen.snippet, record.isRead, record.isFlagged, !mail.attachments.empty(),
      toJson(MailRecipients{.to = mail.to, .cc = mail.cc, .replyTo = mail.replyTo}).compact(),
      StorableText(mail.text).text(), StorableText(mail.html).text(), toJson(mail.attachments).compact(),
      StorableText(mail.inReplyTo).text(), StorableText(mail.references).text());
  if (!id) return false;
  database.run("INSERT INTO message_search (rowid, subject, sender, body) VALUES (?, ?, ?, ?)", *id, seen.subject,
               seen.sender, seen.body);
  return true;
}

}  // namespace vesk::mailRows
