#include "bench/Mime.h"

#include <fmt/format.h>

#include "bench/MailFiles.h"
#include "bench/Process.h"
#include "core/mail/MIME.h"

namespace vesk::bench {

namespace {

void parse(std::string_view message, MailTotals& totals) {
  const ParsedMail mail = MIME::parse(message);
  totals.addresses += mail.from.has_value() + mail.to.size() + mail.cc.size() + mail.replyTo.size();
  totals.dates += mail.date.has_value();
  totals.texts += mail.text.size() + mail.html.size();
  totals.attachments += mail.attachments.size();
  for (const MailAttachment& attachment : mail.attachments) totals.attachmentBytes += attachment.size;
}

}  // namespace

bool mime(std::span<const std::string> arguments) {
  if (arguments.size() != 1) return false;
  measureMails(arguments[0], parse);
  fmt::print("{:.3f} MB at most\n", static_cast<double>(peakMemoryOf("self")) / 1e6);
  return true;
}

}  // namespace vesk::bench
