#include "core/toolserver/tools/NoteChangeTools.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "core/base/Text.h"
#include "core/library/NoteTemplates.h"
#include "core/toolserver/ToolError.h"
#include "core/toolserver/ToolResult.h"
#include "core/toolserver/tools/LostLinks.h"
#include "core/toolserver/tools/NewNote.h"
#include "core/toolserver/tools/PlanEdit.h"
#include "core/vault/MarkdownFile.h"
#include "core/vault/MarkdownView.h"
#include "core/vault/Places.h"
#include "core/vault/TagRename.h"
#include "core/vault/VaultError.h"

namespace vesk {

namespace {

using toolResult::pathResult;
using toolResult::quoted;

std::string_view bareTag(std::string_view tag) {
  const std::string_view trimmed = text::trimWhitespace(tag);
  return trimmed.starts_with('#') ? trimmed.substr(1) : trimmed;
}

std::optional<std::vector<std::string>> tagsOf(const ToolArguments& arguments) {
  auto tags = arguments.texts("tags");
  if (!tags) return std::nullopt;
  for (std::string& tag : *tags) tag = std::string(bareTag(tag));
  std::erase(*tags, "");
  return tags;
}

// A note that is moved as it is, to a path that must be free.
PlannedChange planMove(ToolContext& context, const NoteRef& note, std::string title, std::string destination) {
  if (lastComponent(destination) == assistantRulesFile)
    throw VaultError::invalidName();  // it would be no note any more
  if (destination != note->id && context.vault().exists(destination)) throw VaultError::nameTaken();
  PlannedChange change{.title = std::move(title), .notePath = note->id};
  change.before = context.vault().read(note->id);
  change.after = change.before;
  change.changesNothing = destination == note->id;
  change.destination = std::move(destination);
  return change;
}

PlannedChange moveNote(ToolContext& context, const ToolArguments& arguments) {
  const NoteRef note = context.note(arguments);
  const std::string folder =
      context.folder(arguments, "folder", "That folder doesn't exist. Use list_folders to see the options.");
  PlannedChange change = planMove(context, note, fmt::format("Move {} to {}", quoted(note->title), folder),
                                  joinPath(folder, lastComponent(note->id)));
  change.carryOut = [&context, note, folder] {
    const LinkWatch links(context.vault(), note->id);
    return movedResult(context.changes().moveNote(*note, folder), links);
  };
  return change;
}

PlannedChange createNote(ToolContext& context, const ToolArguments& arguments) {
  NewNote note{.title = newNoteTitle(arguments)};
  note.body = arguments.optionalText("body").value_or("");
  note.tags = tagsOf(arguments).value_or(std::vector<std::string>());
  note.folder = context.folderOrInbox(arguments);
  return planNewNote(context, fmt::format("Create the note {} in {}", quoted(note.title), note.folder), note);
}

PlannedChange appendToNote(ToolContext& context, const ToolArguments& arguments) {
  const NoteRef note = context.note(arguments);
  const std::string added = arguments.text("text", "The text to add is required.");
  const RecordedChanges::Edit edit = [added](const std::string& text) {
    return Vault::appended(text, text::withLineBreaks(added, text::lineBreak(text)));
  };
  PlannedChange change = planEdit(context, note->id, note->title, fmt::format("Add to {}", quoted(note->title)), edit);
  change.carryOut = [&context, note, edit] {
    context.changes().append(note->id, note->title, edit);
    return pathResult(note->id);
  };
  return change;
}

// ---- update_note

struct NoteUpdate {
  std::optional<std::string> find = {};
  std::optional<std::string> replace = {};
  std::optional<std::string> body = {};
  std::optional<std::vector<std::string>> tags = {};
};

NoteUpdate updateOf(const ToolArguments& arguments) {
  NoteUpdate update{.find = arguments.optionalText("find"),
                    .replace = arguments.given("replace", "The argument replace must be a string."),
                    .body = arguments.given("body", "The argument body must be a string."),
                    .tags = tagsOf(arguments)};
  const bool replaces = update.find && update.replace;
  if (update.find.has_value() != update.replace.has_value() || (!replaces && !update.body && !update.tags))
    throw ToolError("Give find and replace, a new body, or tags.");
  if (replaces && update.body) throw ToolError("Give either find and replace, or a new body, not both.");
  return update;
}

std::string replaced(const std::string& text, std::string find, std::string replacement) {
  std::size_t count = text::occurrences(text, find);
  if (count == 0) {  // it may be there with the note's own line breaks
    const std::string_view lineBreak = text::lineBreak(text);
    find = text::withLineBreaks(find, lineBreak);
    replacement = text::withLineBreaks(replacement, lineBreak);
    count = text::occurrences(text, find);
  }
  if (count == 0) throw ToolError("That text isn't in the note.");
  if (count > 1) throw ToolError(fmt::format("That text appears {} times. Include more of it, so it's unique.", count));
  std::string result = text;
  return result.replace(text.find(find), find.size(), replacement);
}

// A new body keeps the front matter, unless it brings its own.
std::string withBody(const std::string& text, std::string_view body) {
  std::string adapted = text::withLineBreaks(body, text::lineBreak(text));
  if (!MarkdownView(adapted).opening.empty()) return adapted;
  MarkdownFile file(text);
  file.body = std::move(adapted);
  return file.serialized();
}

std::string updated(std::string text, const NoteUpdate& update) {
  if (update.find) text = replaced(text, *update.find, *update.replace);
  if (update.body) text = withBody(text, *update.body);
  if (!update.tags) return text;
  MarkdownFile file(text);
  file.setTags(*update.tags);
  return file.serialized();
}

PlannedChange updateNote(ToolContext& context, const ToolArguments& arguments) {
  const NoteRef note = context.note(arguments);
  return planEdit(context, note->id, note->title, fmt::format("Change {}", quoted(note->title)),
                  [update = updateOf(arguments)](const std::string& text) { return updated(text, update); });
}

// ----

PlannedChange renameNote(ToolContext& context, const ToolArguments& arguments) {
  const NoteRef note = context.note(arguments);
  const std::string title = arguments.text("title", "A new title is required.");
  Vault::fileName(title);
  PlannedChange change = planMove(context, note, fmt::format("Rename {} to {}", quoted(note->title), quoted(title)),
                                  Vault::noteID(title, note->folderPath()));
  change.carryOut = [&context, note, title] {
    const LinkWatch links(context.vault(), note->id);
    return movedResult(context.changes().renameNote(*note, title), links);
  };
  return change;
}

PlannedChange trashNote(ToolContext& context, const ToolArguments& arguments) {
  const NoteRef note = context.note(arguments);
  PlannedChange change{.title = fmt::format("Move {} to the Trash", quoted(note->title)), .notePath = note->id};
  change.before = context.vault().read(note->id);
  change.carryOut = [&context, note] {
    const LinkWatch links(context.vault(), note->id);
    context.changes().trash(note->id, note->title);
    return trashedResult(note->id, links);
  };
  return change;
}

PlannedChange renameTag(ToolContext& context, const ToolArguments& arguments) {
  const std::string typed = arguments.text("tag", "The tag to rename is required.");
  const std::string typedNew = arguments.text("new_tag", "The new tag name is required.");
  const std::string tag(bareTag(typed));
  if (tag.empty()) throw ToolError("The tag to rename is required.");
  const std::string newTag(bareTag(typedNew));
  const auto renaming = [&] {
    try {
      return TagRename(tag, newTag);
    } catch (const VaultError&) {
      throw ToolError("That name can't be used for a tag.");
    }
  }();
  VaultSnapshot tagged = context.vault().scanOnce([&](const NoteFile& file) { return text::contains(file.text, tag); });
  std::erase_if(tagged.notes, [&](const NoteRef& note) { return !renaming.concerns(note->tags); });
  const std::size_t count = tagged.notes.size();
  PlannedChange change;
  change.title = fmt::format("Rename the tag {} to {} in {} {}", quoted("#" + tag), quoted("#" + newTag), count,
                             count == 1 ? "note" : "notes");
  change.changesNothing = count == 0;
  change.carryOut = [&context, tag, newTag, tagged = std::move(tagged)] {
    Json result;
    result["tag"] = toolResult::shortened(newTag, 200);
    result["notes_changed"] = context.changes().renameTag(tag, newTag, tagged);
    return result.pretty();
  };
  return change;
}

// ---- open_daily_note

PlannedChange openDailyNote(ToolContext& context, const ToolArguments&) {
  const Surroundings& surroundings = context.surroundings();
  const Day today = surroundings.calendar().day(surroundings.now());
  const std::string name = time::isoDay(today);
  const std::string path = Vault::noteID(name, journalFolder(context.vault()));
  PlannedChange change{.title = fmt::format("Create the daily note {}", name), .destination = path};
  change.changesNothing = context.vault().exists(path);
  if (!change.changesNothing)
    change.after = Vault::filledTemplate(dailyNoteTemplate(surroundings.language()), name, today);
  change.carryOut = [&context, path, name, text = change.after] {
    if (text) context.changes().createFile(path, name, *text);
    return pathResult(path);
  };
  return change;
}

}  // namespace

Tool moveNoteTool() {
  return {"move_note",
          "File a note into an existing folder. The user can undo this in Vesk.",
          {parameters::note(), parameters::folder(true)},
          Effect::adds,
          &AIAccess::canFile,
          moveNote};
}

Tool createNoteTool() {
  return {"create_note",
          "Create a new note. It goes to Inbox unless a folder is given, and never replaces a note.",
          {{"title", "string", "The note's title.", true},
           {"body", "string", "The note's Markdown text."},
           {"tags", "array", "Tags, without the #."},
           parameters::folder(false)},
          Effect::adds,
          &AIAccess::canCreateNotes,
          createNote};
}

Tool appendToNoteTool() {
  return {"append_to_note",
          "Add text to the end of a note. Existing text is never changed.",
          {parameters::note(), {"text", "string", "The Markdown text to add.", true}},
          Effect::adds,
          &AIAccess::canAppend,
          appendToNote};
}

Tool updateNoteTool() {
  return {"update_note",
          "Change a note. Prefer find and replace, which fails safely if the text moved; body replaces everything. A "
          "diagram goes in a note as a line with its embed. The user can undo this in Vesk.",
          {parameters::note(),
           {"find", "string", "Exact text to change. It must appear once."},
           {"replace", "string", "What goes in its place."},
           {"body", "string", "The whole new Markdown text."},
           {"tags", "array", "Replaces the note's tags, without the #."}},
          Effect::changes,
          &AIAccess::canEditNotes,
          updateNote};
}

Tool renameNoteTool() {
  return {"rename_note",   "Rename a note's file.", {parameters::note(), {"title", "string", "The new title.", true}},
          Effect::changes, &AIAccess::canEditNotes, renameNote};
}

Tool trashNoteTool() {
  return {"trash_note",         "Move a note to the Trash. The user can undo this in Vesk.",
          {parameters::note()}, Effect::destroys,
          &AIAccess::canTrash,  trashNote};
}

Tool renameTagTool() {
  return {
      "rename_tag",
      "Rename a tag in every note, or merge it into a tag that already exists.",
      {{"tag", "string", "The current tag, without #.", true}, {"new_tag", "string", "The new tag, without #.", true}},
      Effect::changes,
      &AIAccess::canEditNotes,
      renameTag};
}

Tool openDailyNoteTool() {
  return {"open_daily_note",
          "Today's daily note: its path, creating it the first time.",
          {},
          Effect::adds,
          &AIAccess::canCreateNotes,
          openDailyNote};
}

}  // namespace vesk
