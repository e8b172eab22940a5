// vesk notes and vesk search: the vault's notes, listed.

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/Commands.h"
#include "app/CurrentVault.h"
#include "app/Highlight.h"
#include "app/NoteRows.h"
#include "app/Options.h"
#include "app/Terminal.h"
#include "core/base/Json.h"
#include "core/base/Text.h"
#include "core/base/TextSearch.h"
#include "core/vault/VaultSearch.h"

namespace vesk::app {

namespace {

using Notes = std::vector<NoteRef>;

struct NotesOptions {
  std::string folder = {};
  std::string tag = {};
  bool unsorted = false;
  std::size_t limit = unlimited;
  bool asJson = false;
};

struct SearchOptions {
  std::vector<std::string> words = {};
  std::size_t limit = unlimited;
  bool asJson = false;
};

// ---- notes

Notes chosenNotes(const Vault& vault, const NotesOptions& options) {
  const VaultSnapshot snapshot = vault.scan();
  Notes notes = options.unsorted ? snapshot.unsorted() : snapshot.notes;
  if (!options.tag.empty()) {
    const std::string tag = options.tag.starts_with('#') ? options.tag.substr(1) : options.tag;
    std::erase_if(notes, [&](const NoteRef& note) {
      return std::find(note->tags.begin(), note->tags.end(), tag) == note->tags.end();
    });
  }
  if (!options.folder.empty()) {
    const std::string folder = folderNamed(vault, options.folder);
    std::erase_if(notes, [&](const NoteRef& note) { return !note->id.starts_with(folder + "/"); });
  }
  sortNewestFirst(notes);
  return notes;
}

void listNotes(const NotesOptions& options) {
  printNotes(chosenNotes(currentVault(), options), options.limit, options.asJson);
}

// ---- search

// The first line of the note in which the words stand; "" when they do so in its title or a tag only.
std::string_view lineWith(const text::TextSearch& search, const Note& note) {
  const auto begin = search.lineOf(note.body);
  if (!begin) return "";
  const std::string_view rest = std::string_view(note.body).substr(*begin);
  return text::trimWhitespace(rest.substr(0, rest.find('\n')));
}

// What `taken` columns leave of a line, and never less than a few words need.
std::size_t widthBeside(std::size_t taken, const Terminal& terminal) {
  constexpr std::size_t usual = 160;  // where no terminal says how wide it is
  constexpr std::size_t least = 12;
  return std::max(terminal.width.value_or(usual), taken + least) - taken;
}

void printFound(const Note& note, std::string_view line, std::string_view words, const Terminal& terminal) {
  constexpr std::string_view gap = "  ";
  constexpr std::string_view indent = "    ";
  const std::string path = safe(note.id) + std::string(gap);
  const std::size_t left = widthBeside(columns(path), terminal);
  print("{}{}\n", styled(path, Style::strong, terminal), excerpt(note.title, words, left, terminal));
  if (line.empty()) return;
  print("{}{}\n", indent, excerpt(line, words, widthBeside(indent.size(), terminal), terminal));
}

void printFound(const Notes& notes, std::string_view words) {
  const text::TextSearch search(words);
  const Terminal terminal = Terminal::ofStandardOutput();
  for (const NoteRef& note : notes) printFound(*note, lineWith(search, *note), words, terminal);
}

Json::Array foundEntries(const Notes& notes, std::string_view words) {
  const text::TextSearch search(words);
  Json::Array entries;
  for (const NoteRef& note : notes) {
    Json entry = noteEntry(*note);
    if (const auto line = lineWith(search, *note); !line.empty()) entry["match"] = line;
    entries.push_back(std::move(entry));
  }
  return entries;
}

// The first of them that are still there.
Notes notesOf(const Vault& vault, const std::vector<SearchHit>& hits, std::size_t limit) {
  Notes notes;
  for (const SearchHit& hit : hits) {
    if (notes.size() == limit) break;
    if (NoteRef note = vault.note(hit.id)) notes.push_back(std::move(note));
  }
  return notes;
}

void search(const SearchOptions& options) {
  const std::string words(text::trimWhitespace(text::join(options.words, " ")));
  const Vault vault = currentVault();
  const auto hits = searchVault(vault, words);
  const Notes notes = notesOf(vault, hits, options.limit);
  if (options.asJson) return printEntries(foundEntries(notes, words), hits.size());
  sayWhenNone(notes);
  printFound(notes, words);
}

}  // namespace

void addNotesCommand(CLI::App& program) {
  const auto options = std::make_shared<NotesOptions>();
  CLI::App* command = program.add_subcommand("notes", "List notes, the most recently edited first.");
  command->add_option("--folder", options->folder, "Only notes in this folder, such as Projects/Garden.");
  command->add_option("--tag", options->tag, "Only notes with this tag.");
  command->add_flag("--unsorted", options->unsorted, "Only notes that wait to be sorted.");
  command->add_option("--limit", options->limit, "At most so many.")->check(positive());
  command->add_flag("--json", options->asJson, "Write JSON.");
  command->callback([options] { listNotes(*options); });
}

void addSearchCommand(CLI::App& program) {
  const auto options = std::make_shared<SearchOptions>();
  CLI::App* command = program.add_subcommand("search", "Look for words in titles, texts and tags.");
  command->add_option("WORDS", options->words, "What to look for, as it stands in the note.")->required();
  command->add_option("--limit", options->limit, "At most so many notes.")->check(positive());
  command->add_flag("--json", options->asJson, "Write JSON.");
  command->callback([options] { search(*options); });
}

}  // namespace vesk::app
