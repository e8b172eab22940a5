#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "core/mail/MailStore.h"

// What the commands on mail ask of the database. Where there is no such thing they throw Error, which says what to do.
namespace vesk::app {

// The database.
std::unique_ptr<MailStore> openMail();

// A value that couldn't be read is no reason to show nothing.
void tellSkipped(const MailStore& store);

// The account with that address, regardless of case.
MailAccount accountNamed(const MailStore& store, std::string_view address);
// Likewise; without an address the only one.
MailAccount senderNamed(const MailStore& store, std::string_view address);
MailAccount accountWithID(const MailStore& store, std::string_view id);

// Those stored, and those that are only in the outbox by now.
std::vector<MailDraft> allDrafts(const MailStore& store);
// The one of them whose id begins so.
MailDraft draftNamed(const MailStore& store, std::string_view typed);

MailDetail mailNumbered(const MailStore& store, std::int64_t id);

// The folder of an account that has the role, the name or the path which was typed.
MailFolder folderNamed(const MailStore& store, const MailAccount& account, std::string_view typed);

}  // namespace vesk::app
