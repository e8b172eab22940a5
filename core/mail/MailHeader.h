#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace vesk {

// The fields of a message or of a part that Vesk reads.
enum class MailField {
  from,
  to,
  cc,
  replyTo,
  subject,
  date,
  messageID,
  inReplyTo,
  references,
  contentType,
  contentDisposition,
  contentTransferEncoding,
};
inline constexpr std::size_t mailFieldCount = 12;

// A header, as it stands in a message.
struct MailHeader {
  std::array<std::string_view, mailFieldCount> values = {};  // as written, at most 1 MB each; "" for what isn't there
  std::size_t end = 0;                                       // where the body begins

  // As written, line breaks and all.
  std::string_view raw(MailField field) const { return values[static_cast<std::size_t>(field)]; }

  // In one line and in UTF-8, without white space at the ends; encoded words are left as they are.
  std::string unfolded(MailField field) const;
};

// Reads the header that begins at `begin`. It ends with an empty line, or before the first line that can't belong to
// a header.
MailHeader readMailHeader(std::string_view message, std::size_t begin);

// The same for the header of a message, before which there may be a line of a mailbox file, and empty lines.
MailHeader readMessageHeader(std::string_view message);

// A value without its comments, which may hold others (RFC 5322, 3.2.2), where none may be within quotes.
std::string withoutComments(std::string_view value);

// `text` in one line: control characters and line breaks are made spaces, and none stand at the ends.
std::string oneLine(std::string text);

}  // namespace vesk
