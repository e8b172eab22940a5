#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/base/Calendar.h"
#include "core/base/Time.h"
#include "core/mail/MailTypes.h"

namespace vesk {

// A mail as a server takes it. Where it goes is told beside the text.
struct OutgoingMessage {
  std::string messageID = {};                // as it stands in the text, with its angle brackets
  std::string sender = {};                   // an address alone, as are the recipients
  std::vector<std::string> recipients = {};  // nobody twice
  std::string text = {};                     // RFC 5322, its lines ended by CRLF
  bool operator==(const OutgoingMessage&) const = default;
};

// Writes a draft down (RFC 5322, 2045, 2047), dated `now` on the clock of `calendar`. Whatever the draft holds, it
// makes no header field of its own: line breaks and control characters in names and the subject become spaces. Of the
// threading headers what is no Message-ID is left out, and of a long thread the middle. Nobody is told of `bcc`.
//
// Throws Error when it goes to nobody, an address is none, or a name is another address than its own.
OutgoingMessage outgoingMessage(const MailDraft& draft, const MailAccount& sender, std::string_view messageID,
                                Timestamp now, const Calendar& calendar);

}  // namespace vesk
