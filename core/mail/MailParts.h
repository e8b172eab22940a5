#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "core/mail/MailHeader.h"
#include "core/mail/TransferEncoding.h"

namespace vesk {

// A part of a message that holds no others.
struct MailPart {
  enum class Kind { text, html, attachment };

  // A section of a multipart/alternative. Both are numbered through the message.
  struct Choice {
    std::size_t multipart = 0;
    std::size_t section = 0;
  };

  Kind kind = Kind::text;
  bool mayBeBody = false;    // an attachment of text that only its name makes one
  std::string type = {};     // in lower case: "text/plain"
  std::string charset = {};  // as written; "" without one
  std::string name = {};     // of the file; see MailAttachment
  TransferEncoding encoding = TransferEncoding::none;
  std::string_view body = {};        // in the message, encoded
  std::vector<Choice> choices = {};  // those it stands in, the outermost first
};

// The parts of a message, in order; see MIME::parse for their kinds. Multiparts are taken apart down to a depth of 100,
// and no more than 10,000 sections are; what is deeper, or comes after them, is a part of plain text, and so is a
// multipart without sections.
std::vector<MailPart> mailParts(std::string_view message, const MailHeader& header);

}  // namespace vesk
