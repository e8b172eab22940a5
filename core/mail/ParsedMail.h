#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "core/base/Time.h"
#include "core/mail/MailAddress.h"

namespace vesk {

// A file that came with a mail.
struct MailAttachment {
  std::string name = {};  // as the sender wrote it, decoded: never a path; "" when it has none
  std::string type = {};  // in lower case: "image/png"
  std::size_t size = 0;   // bytes, decoded
  bool operator==(const MailAttachment&) const = default;
};

// A message taken apart. All texts are UTF-8.
struct ParsedMail {
  std::string subject = {};
  std::optional<MailAddress> from = {};
  std::vector<MailAddress> to = {};
  std::vector<MailAddress> cc = {};
  std::vector<MailAddress> replyTo = {};
  std::optional<Timestamp> date = {};  // nullopt when it can't be read
  std::string messageID = {};          // with its angle brackets, as are those of the next two
  std::string inReplyTo = {};
  std::string references = {};
  std::string text = {};  // the plain text; "" without one
  std::string html = {};  // likewise
  std::vector<MailAttachment> attachments = {};
  bool operator==(const ParsedMail&) const = default;
};

}  // namespace vesk
