#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "core/platform/Folder.h"
#include "core/vault/Organization.h"
#include "core/vault/ParsedNotes.h"
#include "core/vault/VaultSnapshot.h"

namespace vesk {

// A note larger than this (bytes) is left out of the scan, as nobody reads such a file as a note.
inline constexpr std::size_t maximumNoteSize = std::size_t{256} << 20;

// A note's file while a scan has it open.
struct NoteFile {
  std::string_view id = {};
  std::string_view text = {};  // not known to be UTF-8
  int descriptor = -1;
  Bucket bucket = Bucket::other;

  std::string_view fileName() const;  // without ".md"
  Timestamp modified() const;
  bool isSavedChat() const;  // carries chatTag
};

// Says of a note whether the scan is to take it apart. Asked from several threads at once, in no order.
using NoteFilter = std::function<bool(const NoteFile& file)>;

// Sees a note while its text is at hand, and says how much of its body the snapshot is to hold: a part of `body` that
// begins where it does. Asked likewise.
using BodyFilter = std::function<std::string_view(const Note& note, std::string_view body)>;

struct ScanOptions {
  // Spares reading the notes that have not changed; nullptr reads every note and remembers none.
  ParsedNotes* cache = nullptr;
  // Leaves out the notes that aren't wanted before they are taken apart; empty leaves out none.
  NoteFilter filter = {};
  // These leave out what isn't wanted of the notes, without a cache only; an empty filter leaves out nothing. Notes
  // that aren't taken apart have their file's name for a title, and nothing else of their text. Dates that are left out
  // are distantPast.
  NoteFilter takesApart = {};
  BodyFilter keptBody = {};
  TagFilter keptTags = {};
  NoteFilter readsDates = {};  // asked before the text is known
  bool readsCreationDates = true;
  bool fillsUrls = true;
};

// What a survey reads of the notes, beside their titles and links; see ScanOptions. It leaves their urls empty.
struct SurveyOptions {
  NoteFilter takesApart = {};
  BodyFilter keptBody = [](const Note&, std::string_view) { return std::string_view(); };
  TagFilter keptTags = {};
  NoteFilter readsDates = {};
  bool readsCreationDates = false;
};

// Reads every folder and note of a vault, on several threads, into the snapshot's notes and root. Hidden entries,
// links to folders, "AGENTS.md", notes that are not UTF-8 and notes that vanish meanwhile are left out; a folder that
// can't be listed throws its FileError, but for one whose path is longer than the system takes: it is left out, too.
void scanNotes(const std::string& root, const ScanOptions& options, VaultSnapshot& snapshot);

// The order in which a scan lists two notes, by their paths: folder by folder, by name.
bool listedBefore(std::string_view a, std::string_view b);

// The note that a scan would list under this path; nullptr when it would list none.
NoteRef scanNote(const std::string& root, std::string_view id, const Organization& organization);

// A folder known without reading any note.
struct FolderSummary {
  std::string path = {};
  Bucket bucket = Bucket::other;
  std::size_t notes = 0;  // Markdown files directly in it
};

// The folders below the root, each before those in it, in scan order.
std::vector<FolderSummary> scanFolders(const std::string& root, const Organization& organization);

// A file known without reading it.
struct FileSummary {
  std::string path = {};
  Timestamp modified = distantPast;  // distantPast, too, when it can't be read
};

// The files of any folder whose names end in `ending`, in scan order. Hidden entries are left out; of links, those to
// folders and those that lead out of the vault.
std::vector<FileSummary> scanFiles(const std::string& root, std::string_view ending);

// The instruction file for assistants, which is no note.
inline constexpr std::string_view assistantRulesFile = "AGENTS.md";

// What a file browser of another system leaves in every folder it shows.
inline constexpr std::string_view folderBrowserFile = ".DS_Store";

// True for the name of a Markdown note (".md" in any case).
bool isNoteName(std::string_view name);

}  // namespace vesk
