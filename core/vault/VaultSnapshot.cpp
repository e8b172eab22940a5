#include "core/vault/VaultSnapshot.h"

#include <algorithm>
#include <iterator>
#include <unordered_map>

#include "core/base/Text.h"
#include "core/base/TextSearch.h"
#include "core/platform/Folder.h"
#include "core/platform/Parallel.h"
#include "core/tasks/TaskLine.h"

namespace vesk {

namespace {

enum class Match : char { none, text, title };

Match matchOf(const text::TextSearch& search, const Note& note) {
  if (search.occursIn(note.title)) return Match::title;
  const auto inTag = [&](const std::string& tag) { return search.occursIn(tag); };
  if (std::any_of(note.tags.begin(), note.tags.end(), inTag) || search.occursIn(note.body)) return Match::text;
  return Match::none;
}

bool listsTasks(const Note& note) {
  return note.bucket != Bucket::archive && std::find(note.tags.begin(), note.tags.end(), chatTag) == note.tags.end();
}

// Adds the notes of a folder and of those below.
void collect(const FolderNode& folder, std::vector<NoteRef>& notes) {
  notes.insert(notes.end(), folder.notes.begin(), folder.notes.end());
  for (const FolderNode& child : folder.folders) collect(child, notes);
}

}  // namespace

std::size_t FolderNode::noteCount() const {
  std::size_t count = notes.size();
  for (const FolderNode& folder : folders) count += folder.noteCount();
  return count;
}

std::vector<NoteRef> FolderNode::allNotes() const {
  std::vector<NoteRef> all;
  collect(*this, all);
  return all;
}

void sortNewestFirst(std::vector<NoteRef>& notes) {
  std::stable_sort(notes.begin(), notes.end(),
                   [](const NoteRef& a, const NoteRef& b) { return a->modified > b->modified; });
}

std::vector<NoteRef> VaultSnapshot::search(std::string_view query) const {
  const std::string_view words = text::trimWhitespace(query);
  if (words.empty()) return {};
  const text::TextSearch search(words);
  std::vector<Match> matches(notes.size(), Match::none);
  inParallel(notes.size(), [&](std::size_t i) { matches[i] = matchOf(search, *notes[i]); });

  std::vector<NoteRef> byTitle;
  std::vector<NoteRef> byText;
  for (std::size_t i = 0; i < notes.size(); ++i) {
    if (matches[i] == Match::title) byTitle.push_back(notes[i]);
    if (matches[i] == Match::text) byText.push_back(notes[i]);
  }
  sortNewestFirst(byTitle);
  sortNewestFirst(byText);
  byTitle.insert(byTitle.end(), byText.begin(), byText.end());
  return byTitle;
}

std::vector<NoteRef> VaultSnapshot::notesTagged(std::string_view tag) const {
  std::vector<NoteRef> found;
  for (const NoteRef& note : notes)
    if (std::find(note->tags.begin(), note->tags.end(), tag) != note->tags.end()) found.push_back(note);
  return found;
}

std::vector<TagCount> VaultSnapshot::tags() const {
  std::unordered_map<std::string_view, std::size_t> counts;
  for (const NoteRef& note : notes)
    for (const std::string& tag : note->tags) ++counts[tag];
  std::vector<TagCount> tags;
  tags.reserve(counts.size());
  for (const auto& [tag, count] : counts) tags.push_back({std::string(tag), count});
  sortMostUsedFirst(tags);
  return tags;
}

std::vector<NoteRef> VaultSnapshot::backlinks(const Note& note) const {
  const std::string_view name = note.fileName();
  const auto leadsThere = [&](std::string_view link) { return text::equalIgnoringCase(lastComponent(link), name); };
  std::vector<NoteRef> found;
  for (const NoteRef& other : notes)
    if (other->id != note.id && std::any_of(other->links.begin(), other->links.end(), leadsThere))
      found.push_back(other);
  return found;
}

std::vector<TaskItem> VaultSnapshot::tasks() const {
  std::vector<std::vector<TaskItem>> byNote(notes.size());
  inParallel(notes.size(), [&](std::size_t i) {
    if (listsTasks(*notes[i])) byNote[i] = notes[i]->tasks();
  });
  std::vector<TaskItem> all;
  for (auto& tasks : byNote) std::move(tasks.begin(), tasks.end(), std::back_inserter(all));
  return all;
}

std::set<std::string> VaultSnapshot::taskNoteNames() const {
  std::set<std::string> names;
  for (const NoteRef& note : notes) {
    if (note->links.empty() || !Note::mayHoldTasks(note->body) || !listsTasks(*note)) continue;
    TaskLine::Scanner lines(note->body);
    while (const auto line = lines.next())
      if (auto name = TaskLine::noteName(*line)) names.insert(std::move(*name));
  }
  return names;
}

std::vector<NoteRef> VaultSnapshot::unsorted() const { return unsorted(taskNoteNames()); }

std::vector<NoteRef> VaultSnapshot::unsorted(const std::set<std::string>& taskNotes) const {
  std::vector<NoteRef> found;
  for (const NoteRef& note : notes) {
    if (!bucket::isFiled(note->bucket) && !note->isVeskPage && !taskNotes.contains(text::key(note->fileName())))
      found.push_back(note);
  }
  sortNewestFirst(found);
  return found;
}

std::optional<std::string> VaultSnapshot::folder(Bucket bucket) const {
  std::vector<std::string> topLevel;
  for (const FolderNode& folder : root.folders) topLevel.push_back(folder.id);
  return organization.folder(bucket, topLevel);
}

void sortMostUsedFirst(std::vector<TagCount>& tags) {
  std::sort(tags.begin(), tags.end(), [](const TagCount& a, const TagCount& b) {
    return a.count != b.count ? a.count > b.count : text::compareNames(a.name, b.name) < 0;
  });
}

}  // namespace vesk
