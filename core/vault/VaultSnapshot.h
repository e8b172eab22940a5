#pragma once

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/vault/Bucket.h"
#include "core/vault/Note.h"
#include "core/vault/Organization.h"
#include "core/vault/VaultAppearance.h"

namespace vesk {

// One folder of a scanned vault.
struct FolderNode {
  std::string id = {};                   // the path in the vault; "" for the root
  std::string name = {};                 // its last component
  Bucket bucket = Bucket::other;         // the role of its top-level ancestor
  std::vector<FolderNode> folders = {};  // in scan order, as are the notes
  std::vector<NoteRef> notes = {};       // directly in this folder

  std::size_t noteCount() const;          // here and in all folders below
  std::vector<NoteRef> allNotes() const;  // this folder's notes, then those of each folder below, depth first
};

// A tag and the number of notes that carry it.
struct TagCount {
  std::string name = {};
  std::size_t count = 0;
  bool operator==(const TagCount&) const = default;
};

// A vault as one scan found it; it never changes afterwards.
struct VaultSnapshot {
  std::vector<NoteRef> notes = {};  // every note, in scan order
  FolderNode root = {};
  Organization organization = Organization::para();
  VaultAppearance appearance = {};

  // Notes whose title, body or one of whose tags contains the query, regardless of case: matches in the title first,
  // then the most recently edited. None for a query of nothing but spaces.
  std::vector<NoteRef> search(std::string_view query) const;

  // Notes that carry exactly this tag.
  std::vector<NoteRef> notesTagged(std::string_view tag) const;

  // Every tag, the most used first, then by name.
  std::vector<TagCount> tags() const;

  // The other notes that link to this one, by its file name, regardless of case.
  std::vector<NoteRef> backlinks(const Note& note) const;

  // Every task, note by note. Archived notes, and assistants' saved chats (they quote other people's lists), have none.
  std::vector<TaskItem> tasks() const;

  // The names of the notes that describe a task, as keys (text::key).
  std::set<std::string> taskNoteNames() const;

  // Notes that still wait to be filed, newest first: those in the inbox or in no place. Vesk's own pages and the notes
  // that describe a task are left out.
  std::vector<NoteRef> unsorted() const;
  std::vector<NoteRef> unsorted(const std::set<std::string>& taskNoteNames) const;

  // The path of the top-level folder with that role: the one a place names, else the first that has it.
  std::optional<std::string> folder(Bucket bucket) const;
};

// The tags of the notes that hold a saved chat with an assistant, and of those that hold a meeting's transcript.
inline constexpr std::string_view chatTag = "ai-conversation";
inline constexpr std::string_view transcriptTag = "meeting-transcript";

// Orders tags by how many notes have them, the most first, then by name.
void sortMostUsedFirst(std::vector<TagCount>& tags);

// Orders notes by when they were edited, the latest first; notes of equal date keep their order.
void sortNewestFirst(std::vector<NoteRef>& notes);

}  // namespace vesk
