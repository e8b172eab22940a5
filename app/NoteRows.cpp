#include "app/NoteRows.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "app/Days.h"
#include "app/Table.h"
#include "app/Terminal.h"
#include "core/base/Calendar.h"
#include "core/base/Time.h"

namespace vesk::app {

namespace {

using Notes = std::vector<NoteRef>;

Json::Array entriesOf(const Notes& notes) {
  Json::Array entries;
  for (const NoteRef& note : notes) entries.push_back(noteEntry(*note));
  return entries;
}

std::string toText(const Notes& notes, const Terminal& terminal) {
  constexpr std::size_t title = 1;
  Table table(title);
  const Calendar calendar = Calendar::ofSystem();
  for (const NoteRef& note : notes)
    table.add(
        {{shownTime(note->modified, calendar), Style::faint}, {note->title, Style::strong}, {note->id, Style::plain}});
  return table.text(terminal);
}

}  // namespace

void printNotes(Notes notes, std::size_t limit, bool asJson) {
  const std::size_t total = notes.size();
  notes.resize(std::min(total, limit));
  if (asJson) return printEntries(entriesOf(notes), total);
  sayWhenNone(notes);
  print("{}", toText(notes, Terminal::ofStandardOutput()));
}

Json noteEntry(const Note& note) {
  Json entry;
  entry["path"] = note.id;
  entry["title"] = note.title;
  entry["role"] = bucket::name(note.bucket);
  entry["modified"] = time::iso8601(note.modified);
  entry["tags"] = Json::Array(note.tags.begin(), note.tags.end());
  return entry;
}

void printEntries(Json::Array entries, std::size_t total) {
  Json json;
  json["notes"] = std::move(entries);
  json["total"] = total;
  print("{}\n", json.pretty());
}

void sayWhenNone(const Notes& notes) {
  if (notes.empty()) fmt::print(stderr, "No note was found.\n");
}

}  // namespace vesk::app
