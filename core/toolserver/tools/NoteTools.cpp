#include "core/toolserver/tools/NoteTools.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "core/base/Text.h"
#include "core/base/TextSearch.h"
#include "core/base/Time.h"
#include "core/tasks/TaskLine.h"
#include "core/tasks/TaskTally.h"
#include "core/toolserver/ToolError.h"
#include "core/toolserver/ToolResult.h"
#include "core/vault/MarkdownView.h"
#include "core/vault/VaultSearch.h"

namespace vesk {

namespace {

constexpr std::size_t titleCharacters = 200;
constexpr std::size_t previewCharacters = 200;
// What a note's result gives to each of its lists, and to the front matter; the text has the most.
constexpr std::size_t listUnits = 3'000;
constexpr std::size_t frontmatterUnits = 2'000;

std::string lineAt(std::string_view text, std::size_t begin) {
  const std::string_view line = text.substr(begin, text.find('\n', begin) - begin);
  return toolResult::shortened(text::trimWhitespace(line), previewCharacters);
}

// The note's first line, and the one in which the words stand.
void addPreview(Json& entry, const Note& note, const text::TextSearch& search) {
  entry["preview"] = toolResult::shortened(note.preview(), previewCharacters);
  if (const auto line = search.lineOf(note.body)) entry["match"] = lineAt(note.body, *line);
}

std::string searchNotes(ToolContext& context, const ToolArguments& arguments) {
  const std::string query = arguments.text("query", "A search query is required.");
  const bool wantsPreview = arguments.flag("preview");
  const auto hits = searchVault(context.vault(), query);
  const text::TextSearch search(text::trimWhitespace(query));
  context.recordSearch(query, hits.size());
  toolResult::Page page("notes", hits.size(), arguments.offset(), arguments.limit());
  for (std::size_t i = page.begin(); i < page.end(); ++i) {
    const NoteRef note = context.vault().note(hits[i].id);
    if (!note) continue;  // it has gone since
    Json entry = noteEntry(*note);
    if (wantsPreview) addPreview(entry, *note, search);
    if (!page.add(std::move(entry))) break;
  }
  Json result;
  if (hits.empty()) result["hint"] = "The words are looked for together, as they are written. Fewer words find more.";
  return page.text(std::move(result));
}

// Without those that plan its tasks: they say nothing of the note.
std::vector<std::string> tagsOf(const Note& note) {
  std::vector<std::string> tags = note.tags;
  std::erase_if(tags, TaskLine::isControlTag);
  return tags;
}

bool isIn(std::string_view id, const std::optional<std::string>& folder) {
  return !folder || (id.starts_with(*folder) && id.substr(folder->size()).starts_with('/'));
}

bool hasTag(const std::vector<std::string>& tags, const std::optional<std::string>& tag) {
  return !tag || std::find(tags.begin(), tags.end(), *tag) != tags.end();
}

std::string_view withoutHash(std::string_view tag) { return tag.starts_with('#') ? tag.substr(1) : tag; }

std::vector<std::string> unsortedNotes(ToolContext& context, const std::optional<std::string>& folder,
                                       const std::optional<std::string>& tag) {
  TaskTally tasks;
  std::vector<std::string> ids;
  for (const NoteRef& note : context.survey({.takesApart = tallyingFilter(tasks)}).unsorted(tasks.noteNames()))
    if (isIn(note->id, folder) && hasTag(note->tags, tag)) ids.push_back(note->id);
  return ids;
}

std::string listNotes(ToolContext& context, const ToolArguments& arguments) {
  auto folder = arguments.optionalText("folder");
  auto tag = arguments.optionalText("tag");
  if (tag) tag = withoutHash(*tag);
  while (folder && folder->ends_with('/')) folder->pop_back();
  if (folder) context.requireFolder(*folder);
  const auto isWanted = [&](const NoteFile& file) {
    if (!isIn(file.id, folder)) return false;
    return !tag || (text::isValidUtf8(file.text) && hasTag(noteTags(MarkdownView(file.text)), tag));
  };
  const auto ids =
      arguments.flag("unsorted") ? unsortedNotes(context, folder, tag) : newestNotes(context.vault(), isWanted);
  toolResult::Page page("notes", ids.size(), arguments.offset(), arguments.limit());
  for (std::size_t i = page.begin(); i < page.end(); ++i) {
    const NoteRef note = context.vault().note(ids[i]);
    if (note && !page.add(noteEntry(*note))) break;  // it may have gone since
  }
  return page.text();
}

// The keys above the text, for those of them that no other member shows.
void addFrontmatter(Json& result, const Vault& vault, const Note& note) {
  const std::string text = vault.read(note.id);
  const MarkdownView view(text);
  std::string lines;
  for (const std::string_view line : view.frontmatter) lines.append(line).append("\n");
  if (!lines.empty()) result["front_matter"] = toolResult::parts(lines, frontmatterUnits).front();
}

std::string readNote(ToolContext& context, const ToolArguments& arguments) {
  const NoteRef note = context.note(arguments);
  Json result;
  result["path"] = note->id;
  result["title"] = toolResult::shortened(note->title, titleCharacters);
  result["role"] = bucket::name(note->bucket);
  result["modified"] = time::iso8601(note->modified);
  addFrontmatter(result, context.vault(), *note);
  toolResult::addList(result, "tags", tagsOf(*note), listUnits);
  toolResult::addList(result, "links", note->links.copied(), listUnits);
  toolResult::addList(result, "backlinks", context.backlinks(*note), listUnits);
  toolResult::addPart(result, note->body, arguments.part(), "note", "read_note");
  context.recordRead(note->title, note->id);
  return result.pretty();
}

}  // namespace

Json noteEntry(const Note& note) {
  Json entry;
  entry["path"] = note.id;
  entry["title"] = toolResult::shortened(note.title, titleCharacters);
  entry["role"] = bucket::name(note.bucket);
  entry["modified"] = time::iso8601(note.modified);
  if (const auto tags = tagsOf(note); !tags.empty()) entry["tags"] = toolResult::firstOf(tags, 1'000);
  return entry;
}

Tool searchNotesTool() {
  return {"search_notes",
          "Search the vault by title, text and tags.",
          {{"query", "string", "The words to look for.", true},
           {"preview", "boolean", "Also return each note's first line, and the line with the words."},
           parameters::limit(),
           parameters::offset()},
          Effect::reads,
          &AIAccess::canSearch,
          searchNotes};
}

Tool listNotesTool() {
  return {"list_notes",
          "List notes, most recently edited first.",
          {{"folder", "string", "Only notes in this folder, such as Projects/Website."},
           {"tag", "string", "Only notes with this tag, without the #."},
           {"unsorted", "boolean", "Only notes waiting in Inbox to be sorted."},
           parameters::limit(),
           parameters::offset()},
          Effect::reads,
          &AIAccess::canRead,
          listNotes};
}

Tool readNoteTool() {
  return {"read_note",
          "Read a note's full text, tags, links and backlinks.",
          {parameters::note(), {"part", "integer", "Which part of a long note to read. Default 1.", false, 1}},
          Effect::reads,
          &AIAccess::canRead,
          readNote};
}

}  // namespace vesk
