#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "core/base/TextSearch.h"
#include "core/platform/Folder.h"
#include "core/vault/Organization.h"
#include "core/vault/ParsedNotes.h"
#include "core/vault/VaultSnapshot.h"

namespace vesk {

// A note larger than this (bytes) is left out of the scan, as nobody reads such a file as a note.
inline constexpr std::size_t maximumNoteSize = std::size_t{256} << 20;

struct ScanOptions {
  // Spares reading the notes that have not changed; nullptr reads every note and remembers none.
  ParsedNotes* cache = nullptr;
  // Leaves out the notes whose file name (without ".md") and text don't hold the words; nullptr leaves out none.
  const text::TextSearch* words = nullptr;
};

// Reads every folder and note of a vault, on several threads, into the snapshot's notes and root. Hidden entries,
// links to folders, "AGENTS.md", notes that are not UTF-8 and notes that vanish meanwhile are left out; a folder that
// can't be listed throws its FileError.
void scanNotes(const std::string& root, const ScanOptions& options, VaultSnapshot& snapshot);

// A folder known without reading any note.
struct FolderSummary {
  std::string path = {};
  Bucket bucket = Bucket::other;
  std::size_t notes = 0;  // Markdown files directly in it
};

// The folders below the root, each before those in it, in scan order.
std::vector<FolderSummary> listFolders(const std::string& root, const Organization& organization);

// The instruction file for assistants, which is no note.
inline constexpr std::string_view assistantRulesFile = "AGENTS.md";

// True for the name of a Markdown note (".md" in any case).
bool isNoteName(std::string_view name);

}  // namespace vesk
