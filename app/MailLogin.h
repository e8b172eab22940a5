#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "core/base/Error.h"
#include "core/mail/IMAPClient.h"
#include "core/mail/MailEngine.h"
#include "core/mail/MailError.h"
#include "core/mail/MailOutbox.h"
#include "core/mail/MailTypes.h"
#include "core/mail/SMTPClient.h"
#include "core/mail/WipedText.h"

// Logging in to the servers of an account.
namespace vesk::app {

// The password that VESK_MAIL_PASSWORD holds, else the one that is kept, else the one that is asked for. Throws Error
// when there is nobody to ask.
WipedText passwordOf(const MailAccount& account);
// Likewise, for several accounts at once: one password isn't given to the servers of all.
WipedText keptPasswordOf(const MailAccount& account);

// The text without what it was moved from: that is overwritten.
WipedText wiped(std::string text);

// Clients that are logged in. MailError when that fails.
std::unique_ptr<IMAPClient> logInToIncoming(const MailAccount& account, std::string_view password);
std::unique_ptr<SMTPClient> logInToOutgoing(const MailAccount& account, std::string_view password);

// Opens connections for an engine.
MailConnector connectorTo(const MailAccount& account);

// For an outbox; a password is asked for when it is first needed, and once. Failures are explained as below.
MailRoutes loggedInRoutes();
// Likewise, for an outbox with mail of one account only, whose password is known.
MailRoutes loggedInRoutes(WipedText password);

// What went wrong with a server, and what the user can do about it, in one sentence or two.
std::string explained(const MailError& error, const MailAccount& account, const MailServer& server);

// "imap.example.org:993"
std::string hostAndPort(const MailServer& server);

}  // namespace vesk::app
