#pragma once

#include "bench/Subject.h"

// The mail engine on a real server, which scripts/with-mail-servers starts. Accounts are filled when they are first
// wanted.
namespace vesk::bench::probe {

// A folder of 5,000 generated messages that is fetched over TLS: into an empty mail store, and by mbsync into an empty
// Maildir. Milliseconds, as all of these.
double firstMailSync(Subject& subject);
double mbsync(Subject& subject);

// 20 folders of 250 messages, of which none is new, changed or gone: synced, and only asked for over one connection.
double idleMailSync(Subject& subject);
double bareMailCommands(Subject& subject);

// From the moment that the server has taken a message into the inbox to its row in the store, while the engine watches.
double mailArrival(Subject& subject);
double oneSecond(Subject& subject);

}  // namespace vesk::bench::probe
