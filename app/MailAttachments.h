#pragma once

#include <cstddef>
#include <string>

#include "core/mail/MailTypes.h"

namespace vesk::app {

// Fetches a mail from its server and saves one of its attachments, counted from 1, in `file`; in one of the
// attachment's name when that is "", and on standard output for "-". Asks for the password, unless VESK_MAIL_PASSWORD
// holds it. Returns the file's name. Throws Error for what can't be done, and MailError as the server is asked.
std::string fetchAttachment(const MailAccount& account, const MailDetail& mail, std::size_t number, std::string file);

}  // namespace vesk::app
