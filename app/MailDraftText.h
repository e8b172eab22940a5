#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "app/Terminal.h"
#include "core/base/Json.h"
#include "core/mail/MailTypes.h"

// Drafts as the user sees and edits them.
namespace vesk::app {

// The text that is edited: the lines From, To, Cc, Bcc and Subject, an empty one, and the body.
std::string editableText(const MailDraft& draft, const MailAccount& sender);

// The draft with what an edited text says. Throws Error for a line above the body that can't be read, what is no
// address, and a sender that is none of the accounts.
MailDraft draftFrom(std::string_view text, MailDraft draft, const std::vector<MailAccount>& accounts);

// All that is sent, with everyone it goes to.
std::string shownDraft(const MailDraft& draft, const MailAccount& sender, const Terminal& terminal);

Json draftJson(const MailDraft& draft, const std::string& sender);

// Those who get a draft: "Rui, eva@example.org".
std::string shownRecipients(const MailDraft& draft);

}  // namespace vesk::app
