#pragma once

#include <string>

#include "core/toolserver/PlannedChange.h"
#include "core/toolserver/RecordedChanges.h"
#include "core/toolserver/ToolContext.h"

namespace vesk {

// A change to the text of one note. What the user is shown is worked out by the very `edit` that later makes the
// change; it throws what the call is refused with. The result is the note's path.
PlannedChange planEdit(ToolContext& context, const std::string& noteID, const std::string& noteTitle, std::string title,
                       RecordedChanges::Edit edit);

}  // namespace vesk
