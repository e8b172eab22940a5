#include "core/mail/MailReply.h"

#include <algorithm>
#include <cstddef>

#include <fmt/format.h>

#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/mail/MIME.h"
#include "core/mail/MessageID.h"
#include "core/mail/Recipients.h"

namespace vesk::mailReply {

namespace {

using Addresses = std::vector<MailAddress>;

void dropOwn(Addresses& people, const std::set<std::string>& own) {
  std::erase_if(people,
                [&](const MailAddress& each) { return each.address.empty() || own.contains(text::key(each.address)); });
}

// Without a name that hides where the mail goes.
void makeSafe(MailAddress& person) {
  person.name = MIME::visibleLine(person.name);
  if (recipients::isAnotherAddress(person.name, person.address)) person.name.clear();
}

// Everybody else whom the mail went to, as far as they can be written to.
Addresses others(const MailDetail& mail, const Addresses& answered, std::set<std::string> known) {
  for (const MailAddress& each : answered) known.insert(text::key(each.address));
  Addresses all;
  for (const Addresses* list : {&mail.to, &mail.cc}) {
    for (MailAddress each : *list) {
      if (!recipients::isAddress(each.address) || !known.insert(text::key(each.address)).second) continue;
      makeSafe(each);
      all.push_back(std::move(each));
    }
  }
  return all;
}

// "On 2026-11-05 at 10:19, Ana wrote:"
std::string attribution(const MailSummary& mail, const Calendar& calendar) {
  const std::string name = MIME::visibleLine(mail.from.name.empty() ? mail.from.address : mail.from.name);
  const std::string writer = name.empty() ? "someone" : std::string(text::firstCharacters(name, 80));
  if (mail.date == distantPast) return fmt::format("{} wrote:", writer);
  return fmt::format("On {} at {}, {} wrote:", time::isoDay(calendar.day(mail.date)),
                     time::text(calendar.time(mail.date)), writer);
}

}  // namespace

std::vector<MailAddress> recipients(const MailDetail& mail, const std::set<std::string>& own) {
  for (Addresses to : {mail.replyTo, Addresses{mail.summary.from}, mail.to}) {
    dropOwn(to, own);
    for (MailAddress& each : to) {
      if (!recipients::isAddress(each.address))
        throw Error("The mail gives an address to answer to that can't be written to.");
      makeSafe(each);
    }
    if (!to.empty()) return to;
  }
  return {};
}

std::string subject(std::string_view answered) {
  constexpr std::string_view prefix = "Re:";
  const std::string line = MIME::visibleLine(answered);
  std::string_view rest = line;
  while (text::equalIgnoringCase(rest.substr(0, prefix.size()), prefix))
    rest = text::trimSpaces(rest.substr(prefix.size()));
  return rest.empty() ? std::string(prefix) : fmt::format("{} {}", prefix, rest);
}

void addThread(MailDraft& draft, const MailDetail& mail) {
  const auto own = messageIDsIn(mail.summary.messageID);
  if (own.empty()) return;
  draft.inReplyTo = own.front();
  auto ids = messageIDsIn(mail.references.empty() ? mail.inReplyTo : mail.references);
  std::erase(ids, own.front());
  ids.push_back(own.front());
  draft.references = text::join(shortenedThread(std::move(ids)), " ");
}

std::string quotation(const MailDetail& mail, const Calendar& calendar) {
  constexpr std::size_t mostLines = 2'000;
  constexpr std::size_t mostBytes = 100'000;
  const std::string shown = text::withLineBreaks(MIME::visibleBody(mail.text, mail.html).text, "\n");
  const std::string_view all = text::trimWhitespace(shown);
  const std::string_view counted = text::firstBytes(all, mostBytes);
  const auto lines = text::split(counted, '\n');
  const std::size_t count = std::min(lines.size(), mostLines);
  std::string quoted = attribution(mail.summary, calendar) + '\n';
  for (std::size_t i = 0; i < count; ++i)
    quoted += fmt::format("{}{}\n", lines[i].empty() || lines[i].starts_with('>') ? ">" : "> ", lines[i]);
  if (count < lines.size() || counted.size() < all.size()) quoted += "> […]\n";
  return quoted;
}

MailDraft draft(const MailDetail& mail, const MailAccount& sender, const std::set<std::string>& own, bool all,
                const Calendar& calendar) {
  MailDraft draft{.accountID = sender.id, .to = recipients(mail, own), .subject = subject(mail.summary.subject)};
  if (draft.to.empty()) throw Error("The mail gives no address to answer to.");
  if (all) draft.cc = others(mail, draft.to, own);
  addThread(draft, mail);
  draft.body = fmt::format("\n\n{}", quotation(mail, calendar));
  return draft;
}

}  // namespace vesk::mailReply
