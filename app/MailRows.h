#pragma once

#include <string>
#include <vector>

#include "app/Terminal.h"
#include "core/base/Json.h"
#include "core/mail/MailStore.h"

// Messages as `vesk` shows them.
namespace vesk::app {

// A line each: the id, when it came, whom it is from, its subject and its beginning.
std::string mailRows(const std::vector<MailSummary>& mails, const Terminal& terminal);

// "Ana <ana@example.org>"; several with commas between them.
std::string shown(const std::vector<MailAddress>& people);
Json::Array entriesOf(const std::vector<MailAddress>& people);

Json mailEntry(const MailSummary& mail);

// A whole message: its head, its text, and its attachments with their numbers.
std::string mailText(const MailDetail& mail, const Terminal& terminal);
Json mailJson(const MailDetail& mail);

}  // namespace vesk::app
