#include "core/toolserver/tools/NewNote.h"

#include <utility>

#include "core/base/Text.h"
#include "core/toolserver/ToolError.h"
#include "core/toolserver/ToolResult.h"

namespace vesk {

std::string newNoteTitle(const ToolArguments& arguments) {
  constexpr const char* missing = "A title is required.";
  std::string title(text::trimWhitespace(arguments.text("title", missing)));
  if (title.empty()) throw ToolError(missing);
  Vault::fileName(title);  // throws for a title that can't be a name
  return title;
}

PlannedChange planNewNote(ToolContext& context, std::string sentence, NewNote note) {
  PlannedChange change{.title = std::move(sentence), .destination = note.folder};
  change.after = Vault::noteText(note.body, note.tags);
  change.carryOut = [&context, note = std::move(note)] {
    return toolResult::pathResult(context.changes().createNote(note.title, note.body, note.tags, note.folder));
  };
  return change;
}

}  // namespace vesk
