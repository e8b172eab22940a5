#pragma once

#include <set>
#include <string>

#include "core/mail/SyncSession.h"

namespace vesk {

// Sends the changes that are queued, in their order, as far as it counts: those to several messages of a folder go
// together. One that the server refuses is reported, and no longer queued; one to a message that is no longer there is
// no longer queued either. Gives the paths of the folders that messages were moved to.
//
// Throws MailError when the connection is lost, or the store fails; what isn't answered by then stays queued.
std::set<std::string> sendPendingChanges(SyncSession& session);

}  // namespace vesk
