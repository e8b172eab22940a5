#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Calendar.h"
#include "core/mail/MailTypes.h"

// Answers to a mail. Whoever wrote it decides what is in the answer only where a user expects it: who may be written to
// is seen by their address, and nothing stands there that isn't shown.
namespace vesk::mailReply {

// Whom an answer goes to: Reply-To, else From. Never the user, by their addresses in lower case: what they sent
// themselves is answered to those it went to. Empty when there is nobody. Throws Error when one of them is no address
// that can be written to.
std::vector<MailAddress> recipients(const MailDetail& mail, const std::set<std::string>& own);

// The subject with one "Re:".
std::string subject(std::string_view answered);

// Gives the draft the threading headers of an answer (RFC 5322, 3.6.4). None when the mail has no Message-ID.
void addThread(MailDraft& draft, const MailDetail& mail);

// What the mail shows with "> " before each line, under a line that says who wrote it when. At most 2,000 lines and
// 100,000 bytes.
std::string quotation(const MailDetail& mail, const Calendar& calendar);

// A draft that answers the mail, `all` of its recipients or the sender alone; without an id or a date. `own` holds all
// of the user's addresses in lower case. Throws Error when there is nobody to answer.
MailDraft draft(const MailDetail& mail, const MailAccount& sender, const std::set<std::string>& own, bool all,
                const Calendar& calendar);

}  // namespace vesk::mailReply
