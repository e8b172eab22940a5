#pragma once

#include <optional>
#include <vector>

#include "core/base/Json.h"
#include "core/mail/MailTypes.h"

// The JSON in the mail database: the keys are the names of the fields, dates are mailSeconds, and what is nullopt is
// left out. Reading gives nullopt for what is no such thing: a field that is missing or of another type, but for those
// that may be left out.
namespace vesk {

Json toJson(const MailAccount& account);
std::optional<MailAccount> mailAccountFrom(const Json& json);

Json toJson(const MailDraft& draft);
std::optional<MailDraft> mailDraftFrom(const Json& json);

Json toJson(const MailChange& change);
std::optional<MailChange> mailChangeFrom(const Json& json);

// Whom a message went to.
struct MailRecipients {
  std::vector<MailAddress> to = {};
  std::vector<MailAddress> cc = {};
  std::vector<MailAddress> replyTo = {};
};
Json toJson(const MailRecipients& recipients);
std::optional<MailRecipients> mailRecipientsFrom(const Json& json);

Json toJson(const std::vector<MailAttachment>& attachments);
std::optional<std::vector<MailAttachment>> mailAttachmentsFrom(const Json& json);

// A moment as the database has it: seconds since 2001-01-01T00:00:00Z, to the microsecond. distantPast is the first
// moment of the year 1, as it is wherever Vesk writes dates; what a Timestamp can't hold becomes the nearest it can.
double mailSeconds(Timestamp moment);
Timestamp mailMoment(double seconds);

}  // namespace vesk
