#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/base/Calendar.h"
#include "core/base/Time.h"
#include "core/mail/MailAddress.h"

// How a mail is written down. Lines end with CRLF; those of a header have 78 bytes at most where that can be, and never
// more than 998 (RFC 5322, 2.1.1).
namespace vesk::mailWriting {

// The fields of a header. What is given as a value makes one field and no other: it is in one line, and folded.

// `words` stand in the line with a space between them, each whole: "<a@b> <c@d>". They are printable and not empty.
std::string field(std::string_view name, const std::vector<std::string>& words);

// Any text: as it stands, or in encoded words (RFC 2047).
std::string textField(std::string_view name, std::string_view text);

// Addresses that are sound; any names. Addresses beyond ASCII are written as they are (RFC 6532).
std::string addressField(std::string_view name, const std::vector<MailAddress>& addresses);

// "Thu, 05 Nov 2026 10:19:29 +0100"
std::string date(Timestamp moment, const Calendar& calendar);

// A text as the body of a part: in ASCII without long lines as it stands, any other as quoted-printable (RFC
// 2045, 6.7).
struct Body {
  std::string_view encoding = {};  // "7bit" or "quoted-printable"
  std::string text = {};
};
Body body(std::string_view text);

}  // namespace vesk::mailWriting
