#pragma once

#include <optional>
#include <string>

#include "core/toolserver/Proposal.h"
#include "core/toolserver/Tool.h"

namespace vesk {

Tool draftEmailTool();
Tool updateEmailTool();

// What stands in place of a proposal's title for an assistant that may not read mail: "Mark as read: email 7". Nullopt
// where the title tells nothing of an email.
std::optional<std::string> titleWithoutMail(const Proposal& proposal);

}  // namespace vesk
