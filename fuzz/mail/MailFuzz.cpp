#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "core/base/Text.h"
#include "core/mail/MIME.h"
#include "core/mail/MailCode.h"

namespace {

using namespace vesk;

void require(bool holds) {
  if (!holds) std::abort();
}

bool isOneLine(std::string_view text) { return text::isValidUtf8(text) && text.find_first_of("\r\n") == text.npos; }

void checkAddress(const MailAddress& address) { require(isOneLine(address.name) && isOneLine(address.address)); }

void checkHeader(const ParsedMail& mail) {
  for (const std::string* text : {&mail.subject, &mail.messageID, &mail.inReplyTo, &mail.references})
    require(isOneLine(*text));
  if (mail.from) checkAddress(*mail.from);
  for (const auto* list : {&mail.to, &mail.cc, &mail.replyTo})
    for (const MailAddress& address : *list) checkAddress(address);
}

void checkAttachments(const ParsedMail& mail, std::string_view message) {
  for (const MailAttachment& attachment : mail.attachments) {
    require(isOneLine(attachment.name) && attachment.name.find_first_of("/\\") == std::string::npos);
    require(isOneLine(attachment.type) && attachment.size <= message.size());
  }
  const std::size_t count = mail.attachments.size();
  require(!MIME::attachment(count, message));
  if (count > 0) require(MIME::attachment(count - 1, message)->size() == mail.attachments.back().size);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view message(reinterpret_cast<const char*>(data), size);
  const auto start = std::chrono::steady_clock::now();
  const ParsedMail mail = MIME::parse(message);
  checkHeader(mail);
  require(text::isValidUtf8(mail.text) && text::isValidUtf8(mail.html));
  checkAttachments(mail, message);
  MailCode::find(mail.subject, mail.text);
  // With the sanitizers, on a machine that others use: a thousand times what an ordinary mail takes.
  require(std::chrono::steady_clock::now() - start < std::chrono::seconds(1) + size * std::chrono::microseconds(20));
  return 0;
}
