#include "core/toolserver/ToolContext.h"

#include <algorithm>

#include <fmt/format.h>

#include "core/base/Text.h"
#include "core/toolserver/ToolArguments.h"
#include "core/toolserver/ToolError.h"
#include "core/vault/MarkdownScanner.h"

namespace vesk {

namespace {

// Folders that were not made yet are listed after those that are there.
void addMissingPlaces(const Organization& organization, std::vector<FolderSummary>& folders) {
  for (const Organization::Place& place : organization.places) {
    if (place.folder.empty() || place.folder.starts_with('.') || place.folder.find('/') != std::string::npos) continue;
    const auto isThere = [&](const FolderSummary& folder) {
      return text::equalIgnoringCase(folder.path, place.folder);
    };
    if (std::none_of(folders.begin(), folders.end(), isThere)) folders.push_back({place.folder, place.role, 0});
  }
}

bool linksTo(std::string_view text, std::string_view name) {
  markdown::LinkScanner scanner(text);
  while (const auto target = scanner.next())
    if (text::equalIgnoringCase(lastComponent(*target), name)) return true;
  return false;
}

std::string severalMatch(const std::vector<NoteRef>& notes) {
  constexpr std::size_t longestList = 10'000;  // bytes
  std::vector<std::string> paths;
  std::size_t length = 0;
  for (const NoteRef& note : notes) {
    length += note->id.size();
    if (length > longestList) break;
    paths.push_back(note->id);
  }
  if (paths.size() < notes.size()) paths.push_back(fmt::format("and {} more", notes.size() - paths.size()));
  return "Several notes match. Use one of these paths: " + text::join(paths, ", ");
}

}  // namespace

const Organization& ToolContext::organization() {
  if (snapshot_) return snapshot_->organization;
  if (!organization_) organization_ = vault_.organization().value_or(Organization::para());
  return *organization_;
}

const std::vector<FolderSummary>& ToolContext::folders() {
  if (!folders_) {
    folders_ = vault_.folders();
    addMissingPlaces(organization(), *folders_);
  }
  return *folders_;
}

const VaultSnapshot& ToolContext::snapshot() {
  if (!snapshot_) snapshot_ = vault_.scanOnce();
  return *snapshot_;
}

const VaultSnapshot& ToolContext::notesAbout(std::string_view name) {
  if (snapshot_) return *snapshot_;
  if (notesAbout_ && text::equalIgnoringCase(about_, name)) return *notesAbout_;
  about_ = name;
  // What a note is titled and links to stands in its text or is its file's name. Most notes need not be taken apart to
  // see that they don't hold it.
  notesAbout_ = vault_.scanOnce([&](const NoteFile& file) {
    return file.fileName() == name || file.text.find(name) != std::string_view::npos || linksTo(file.text, name);
  });
  return *notesAbout_;
}

NoteRef ToolContext::note(const ToolArguments& arguments) {
  const std::string wanted = arguments.text("note", "A note path or title is required.");
  if (NoteRef note = vault_.note(wanted)) return note;
  std::vector<NoteRef> titled;
  for (const NoteRef& note : notesAbout(wanted).notes)
    if (note->title == wanted) titled.push_back(note);
  if (titled.size() > 1) throw ToolError(severalMatch(titled));
  if (titled.empty()) throw ToolError(fmt::format("No note matches \"{}\"", text::firstUnits(wanted, 1000)));
  return titled.front();
}

std::vector<NoteRef> ToolContext::backlinks(const Note& note) { return notesAbout(note.fileName()).backlinks(note); }

void ToolContext::requireFolder(std::string_view folder) {
  const auto& known = folders();
  if (std::any_of(known.begin(), known.end(), [&](const FolderSummary& each) { return each.path == folder; })) return;
  throw ToolError("That folder doesn't exist. Use list_folders to see the options.");
}

}  // namespace vesk
