#include "core/toolserver/tools/SourceTools.h"

#include <string>

#include <fmt/format.h>

#include "core/base/Text.h"
#include "core/toolserver/ToolError.h"
#include "core/toolserver/ToolResult.h"
#include "core/toolserver/tools/NewNote.h"
#include "core/vault/Places.h"

namespace vesk {

namespace {

// A note that consists of the text as it came: Vesk adds no front matter, no title and no line break.
PlannedChange addSource(ToolContext& context, const ToolArguments& arguments) {
  constexpr const char* textMissing = "The source text is required.";
  const std::string title = newNoteTitle(arguments);
  const std::string text = arguments.text("text", textMissing);
  if (text::trimWhitespace(text).empty()) throw ToolError(textMissing);
  const auto folder = placeFolder(context.vault(), Bucket::sources);
  if (!folder) throw ToolError("This vault has no folder for sources. Use get_organization to see its folders.");
  return planNewNote(context, fmt::format("Save the source {} in {}", toolResult::quoted(title), *folder),
                     {.title = title, .body = text, .folder = *folder});
}

}  // namespace

Tool addSourceTool() {
  return {
      "add_source",
      "Save original material as it is: an article, a transcript, a document. Knowledge drawn from it goes in "
      "separate notes.",
      {{"title", "string", "The source's title.", true}, {"text", "string", "The whole source text, unchanged.", true}},
      Effect::adds,
      &AIAccess::canCreateNotes,
      addSource};
}

}  // namespace vesk
