#include "core/toolserver/tools/PlanEdit.h"

#include <utility>

#include "core/base/Text.h"
#include "core/toolserver/ToolError.h"
#include "core/toolserver/ToolResult.h"

namespace vesk {

PlannedChange planEdit(ToolContext& context, const std::string& noteID, const std::string& noteTitle, std::string title,
                       RecordedChanges::Edit edit) {
  PlannedChange change{.title = std::move(title), .notePath = noteID};
  change.before = context.vault().read(noteID);
  // Neither a proposal nor the log can hold other bytes, and what they can't hold can't be undone.
  if (!text::isValidUtf8(*change.before))
    throw ToolError("That file isn't UTF-8 text, so its change couldn't be undone.");
  change.after = edit(*change.before);
  change.changesNothing = change.after == change.before;
  change.carryOut = [&context, noteID, noteTitle, edit = std::move(edit)] {
    context.changes().edit(noteID, noteTitle, edit);
    return toolResult::pathResult(noteID);
  };
  return change;
}

}  // namespace vesk
