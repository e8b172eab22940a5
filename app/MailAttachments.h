#pragma once

#include <cstddef>
#include <string>

#include "core/mail/MailTypes.h"

namespace vesk::app {

// Fetches a mail from its server and saves one of its attachments, counted from 1, in `file`; in one of the
// attachment's name when that is "", and on standard output for "-". Returns the file's name. Throws Error.
std::string fetchAttachment(const MailAccount& account, const MailDetail& mail, std::size_t number, std::string file);

}  // namespace vesk::app
