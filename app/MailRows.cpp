#include "app/MailRows.h"

#include <utility>

#include <fmt/format.h>

#include "app/Days.h"
#include "app/Table.h"
#include "core/base/Calendar.h"
#include "core/base/Text.h"
#include "core/mail/MIME.h"

namespace vesk::app {

namespace {

std::string shown(const MailAddress& person) {
  return person.name.empty() ? person.address : fmt::format("{} <{}>", person.name, person.address);
}

std::string attachmentRows(const std::vector<MailAttachment>& attachments, const Terminal& terminal) {
  constexpr std::size_t name = 1;
  Table table(name);
  for (std::size_t i = 0; i < attachments.size(); ++i)
    table.add({{fmt::to_string(i + 1), Style::faint},
               {attachments[i].name.empty() ? "(without a name)" : attachments[i].name},
               {attachments[i].type, Style::faint},
               {fmt::format("{} bytes", attachments[i].size), Style::faint}});
  return table.text(terminal);
}

}  // namespace

Json::Array entriesOf(const std::vector<MailAddress>& people) {
  Json::Array entries;
  for (const MailAddress& person : people)
    entries.push_back(Json::Object{{"name", person.name}, {"address", person.address}});
  return entries;
}

std::string shown(const std::vector<MailAddress>& people) {
  std::vector<std::string> all;
  for (const MailAddress& person : people) all.push_back(shown(person));
  return text::join(all, ", ");
}

std::string mailRows(const std::vector<MailSummary>& mails, const Terminal& terminal) {
  constexpr std::size_t snippet = 5;
  constexpr std::size_t senderColumns = 24;
  constexpr std::size_t subjectColumns = 50;
  Table table(snippet);
  const Calendar calendar = Calendar::ofSystem();
  for (const MailSummary& mail : mails) {
    const Style style = mail.isRead ? Style::plain : Style::strong;
    table.add({{fmt::to_string(mail.id), Style::faint},
               {shownTime(mail.date, calendar), Style::faint},
               {mail.isFlagged        ? "!"
                : mail.hasAttachments ? "+"
                                      : " ",
                Style::found},
               {shortened(mail.from.name.empty() ? mail.from.address : mail.from.name, senderColumns), style},
               {shortened(mail.subject, subjectColumns), style},
               {mail.snippet, Style::faint}});
  }
  return table.text(terminal);
}

Json mailEntry(const MailSummary& mail) {
  Json entry;
  entry["id"] = mail.id;
  entry["folder"] = mail.folder;
  entry["message_id"] = mail.messageID;
  entry["subject"] = mail.subject;
  entry["from"] = entriesOf({mail.from}).front();
  entry["date"] = mail.date == distantPast ? Json() : Json(time::iso8601(mail.date));
  entry["snippet"] = mail.snippet;
  entry["read"] = mail.isRead;
  entry["flagged"] = mail.isFlagged;
  entry["has_attachments"] = mail.hasAttachments;
  return entry;
}

std::string mailText(const MailDetail& mail, const Terminal& terminal) {
  std::string all;
  const auto add = [&](const char* what, const std::string& value) {
    if (!value.empty()) all += fmt::format("{}  {}\n", styled(what, Style::faint, terminal), safe(value));
  };
  add("Subject", mail.summary.subject);
  add("From   ", shown(mail.summary.from));
  add("To     ", shown(mail.to));
  add("Cc     ", shown(mail.cc));
  add("Date   ", shownTime(mail.summary.date, Calendar::ofSystem()));
  const MIME::VisibleText body = MIME::visibleBody(mail.text, mail.html);
  all += fmt::format("\n{}\n", safeLines(text::trimWhitespace(body.text)));
  if (body.hidden > 0)
    all += styled(fmt::format("\n{} that the mail hides: vesk mail read --html shows it as it is.\n",
                              counted(body.hidden, "character")),
                  Style::faint, terminal);
  if (!mail.attachments.empty()) all += fmt::format("\n{}", attachmentRows(mail.attachments, terminal));
  return all;
}

Json mailJson(const MailDetail& mail) {
  Json json = mailEntry(mail.summary);
  json["to"] = entriesOf(mail.to);
  json["cc"] = entriesOf(mail.cc);
  json["reply_to"] = entriesOf(mail.replyTo);
  json["text"] = mail.text;
  json["html"] = mail.html;
  Json::Array attachments;
  for (const MailAttachment& attachment : mail.attachments)
    attachments.push_back(
        Json::Object{{"name", attachment.name}, {"type", attachment.type}, {"size", attachment.size}});
  json["attachments"] = std::move(attachments);
  json["in_reply_to"] = mail.inReplyTo;
  json["references"] = mail.references;
  return json;
}

}  // namespace vesk::app
