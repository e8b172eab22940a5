#pragma once

#include "core/mail/IMAPAnswers.h"
#include "core/mail/SyncSession.h"

namespace vesk {

// Makes what is stored of a folder the same as what the server has in it, and leaves the folder selected. A folder that
// the server won't open or read is noted in the report. Throws MailError when the connection is lost, or
// nothing can be stored.
void syncFolder(SyncSession& session, const IMAPFolder& folder);

}  // namespace vesk
