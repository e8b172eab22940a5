#include "core/toolserver/tools/PlanEdit.h"

#include <utility>

#include "core/toolserver/ToolResult.h"

namespace vesk {

PlannedChange planEdit(ToolContext& context, const std::string& noteID, const std::string& noteTitle, std::string title,
                       RecordedChanges::Edit edit) {
  PlannedChange change{.title = std::move(title), .notePath = noteID};
  change.before = context.vault().read(noteID);
  change.after = edit(*change.before);
  change.changesNothing = change.after == change.before;
  change.carryOut = [&context, noteID, noteTitle, edit = std::move(edit)] {
    context.changes().edit(noteID, noteTitle, edit);
    return toolResult::pathResult(noteID);
  };
  return change;
}

}  // namespace vesk
