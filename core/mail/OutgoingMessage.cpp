#include "core/mail/OutgoingMessage.h"

#include <algorithm>
#include <set>

#include <fmt/format.h>

#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/mail/MailWriting.h"
#include "core/mail/MessageID.h"
#include "core/mail/Recipients.h"

namespace vesk {

namespace {

using Addresses = std::vector<MailAddress>;

void require(const MailAddress& person) {
  if (!recipients::isAddress(person.address))
    throw Error(fmt::format("\"{}\" isn't an email address.", text::collapseWhitespace(person.address)));
  if (recipients::isAnotherAddress(person.name, person.address))
    throw Error(fmt::format("The name of {} is another address.", person.address));
}

std::vector<std::string> recipientsOf(const MailDraft& draft) {
  std::vector<std::string> all;
  std::set<std::string> known;
  for (const Addresses* list : {&draft.to, &draft.cc, &draft.bcc}) {
    for (const MailAddress& each : *list) {
      require(each);
      if (known.insert(text::key(each.address)).second) all.push_back(each.address);
    }
  }
  if (all.empty()) throw Error("The mail goes to nobody. Give it an address in To, Cc or Bcc.");
  return all;
}

std::string headerOf(const MailDraft& draft, const MailAccount& sender, std::string_view messageID, std::string date) {
  using namespace mailWriting;
  std::string header = field("Date", {std::move(date)});
  header += addressField("From", {{sender.name, sender.address}});
  // RFC 5322, 3.6.3, asks for no To; some servers that look for spam do.
  header += draft.to.empty() && draft.cc.empty() ? field("To", {"undisclosed-recipients:;"}) : "";
  if (!draft.to.empty()) header += addressField("To", draft.to);
  if (!draft.cc.empty()) header += addressField("Cc", draft.cc);
  header += textField("Subject", draft.subject);
  header += field("Message-ID", {std::string(messageID)});
  const auto answered = messageIDsIn(draft.inReplyTo);
  const auto thread = shortenedThread(messageIDsIn(draft.references));
  if (!answered.empty()) header += field("In-Reply-To", {answered.front()});
  if (!thread.empty()) header += field("References", thread);
  return header;
}

}  // namespace

OutgoingMessage outgoingMessage(const MailDraft& draft, const MailAccount& sender, std::string_view messageID,
                                Timestamp now, const Calendar& calendar) {
  require({sender.name, sender.address});
  OutgoingMessage message{.messageID = std::string(messageID), .sender = sender.address};
  message.recipients = recipientsOf(draft);
  message.text = headerOf(draft, sender, messageID, mailWriting::date(now, calendar));
  const mailWriting::Body body = mailWriting::body(draft.body);
  message.text += fmt::format(
      "MIME-Version: 1.0\r\nContent-Type: text/plain; charset=utf-8\r\nContent-Transfer-Encoding: {}\r\n\r\n",
      body.encoding);
  message.text += body.text;
  return message;
}

}  // namespace vesk
