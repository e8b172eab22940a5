#include "core/toolserver/ToolContext.h"

#include <algorithm>
#include <random>

#include <fmt/format.h>

#include "core/base/Text.h"
#include "core/base/Uuid.h"
#include "core/toolserver/ToolArguments.h"
#include "core/toolserver/ToolError.h"
#include "core/toolserver/ToolResult.h"
#include "core/vault/Places.h"
#include "core/vault/VaultSearch.h"

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

std::vector<std::string> pathsOf(const std::vector<NoteRef>& notes) {
  std::vector<std::string> paths;
  for (const NoteRef& note : notes) paths.push_back(note->id);
  return paths;
}

// As much of it as an answer needs, and without what would end the sentence early.
std::string shownWithin(std::string_view wanted) {
  std::string shown(text::firstUnits(wanted, 1000));
  std::replace(shown.begin(), shown.end(), '\0', ' ');
  return shown;
}

// What is found by a title: the only one that has it. `what` says what is looked for.
template <typename Item, typename PathOf>
Item onlyOne(std::vector<Item> titled, std::string_view wanted, const char* what, PathOf pathOf) {
  if (titled.size() == 1) return std::move(titled.front());
  if (titled.empty()) throw ToolError(fmt::format("No {} matches \"{}\"", what, shownWithin(wanted)));
  constexpr std::size_t longestList = 10'000;  // bytes
  std::vector<std::string> paths;
  std::size_t length = 0;
  for (const Item& item : titled) {
    length += pathOf(item).size();
    if (length > longestList) break;
    paths.push_back(pathOf(item));
  }
  if (paths.size() < titled.size()) paths.push_back(fmt::format("and {} more", titled.size() - paths.size()));
  throw ToolError(fmt::format("Several {}s match. Use one of these paths: {}", what, fmt::join(paths, ", ")));
}

}  // namespace

ToolContext::ToolContext(std::string directory, Surroundings surroundings, AIAccess access, Vault vault,
                         std::string changeID, const Proposal* approved)
    : directory_(std::move(directory)),
      surroundings_(std::move(surroundings)),
      access_(std::move(access)),
      vault_(std::move(vault)),
      log_(directory_),
      proposals_(directory_),
      changeID_(std::move(changeID)),
      changes_(vault_, log_, surroundings_.now(), approved) {}

void ToolContext::recordQuietly(AIAction action) const {
  action.id = newUuid();
  action.date = surroundings_.now();
  action.vaultPath = vault_.root();
  try {
    log_.append(action);
  } catch (const Error&) {
    return;
  }
}

Diagram::NewID ToolContext::newIDs() const {
  std::seed_seq seed(changeID_.begin(), changeID_.end());
  return [engine = std::mt19937_64(seed)]() mutable { return fmt::format("{:016x}", engine()); };
}

void ToolContext::recordRead(std::string_view title, std::optional<std::string> path) const {
  recordQuietly({.kind = AIAction::Kind::read, .title = std::string(title), .noteID = std::move(path)});
}

void ToolContext::recordSearch(std::string_view query, std::size_t results) const {
  constexpr std::size_t longestTitle = 200;  // characters
  recordQuietly({.kind = AIAction::Kind::search,
                 .title = toolResult::shortened(query, longestTitle),
                 .resultCount = static_cast<std::int64_t>(results)});
}

const Organization& ToolContext::organization() {
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

const VaultSnapshot& ToolContext::survey(SurveyOptions options) {
  return surveyed_.emplace(vault_.survey(std::move(options)));
}

const VaultSnapshot& ToolContext::notesAbout(std::string_view name) {
  if (notesAbout_ && text::equalIgnoringCase(about_, name)) return *notesAbout_;
  about_ = name;
  // Most notes need not be taken apart to see that they have nothing to do with it.
  notesAbout_ = vault_.scanOnce([&](const NoteFile& file) { return mayMean(file, name); });
  return *notesAbout_;
}

NoteRef ToolContext::note(const ToolArguments& arguments) {
  const std::string wanted = arguments.text("note", "A note path or title is required.");
  if (NoteRef note = vault_.note(wanted)) return note;
  std::vector<NoteRef> titled;
  for (const NoteRef& note : notesAbout(wanted).notes)
    if (note->title == wanted) titled.push_back(note);
  return onlyOne(std::move(titled), wanted, "note", [](const NoteRef& note) { return note->id; });
}

DiagramFile ToolContext::diagram(const ToolArguments& arguments) const {
  const std::string wanted = arguments.text("diagram", "A diagram path or title is required.");
  std::vector<DiagramFile> titled;
  for (DiagramFile& file : diagrams(vault_)) {
    if (file.path == wanted) return std::move(file);
    if (file.title == wanted) titled.push_back(std::move(file));
  }
  return onlyOne(std::move(titled), wanted, "diagram", [](const DiagramFile& file) { return file.path; });
}

TaskItem ToolContext::task(const ToolArguments& arguments) const {
  const std::string id = arguments.text("task", "A task id from list_tasks is required.");
  if (const NoteRef note = vault_.note(id.substr(0, id.rfind('#'))))
    for (TaskItem& task : note->tasks())
      if (task.id() == id) return std::move(task);
  throw ToolError("No task has that id. Use list_tasks to get a fresh one.");
}

std::string ToolContext::folder(const ToolArguments& arguments, std::string_view key, const char* message) {
  std::string folder = arguments.text(key, message);
  while (folder.ends_with('/')) folder.pop_back();
  requireFolder(folder);
  return folder;
}

std::string ToolContext::folderOrInbox(const ToolArguments& arguments) {
  if (arguments.optionalText("folder")) return folder(arguments, "folder", "A folder path is required.");
  return inboxFolder(vault_);
}

std::vector<std::string> ToolContext::backlinks(const Note& note) {
  return pathsOf(notesAbout(note.fileName()).backlinks(note));
}

std::vector<std::string> ToolContext::notesShowing(const DiagramFile& diagram) const {
  const std::string embed = diagramEmbed(diagram.path);
  return pathsOf(vault_.scanOnce([&](const NoteFile& file) { return text::contains(file.text, embed); }).notes);
}

void ToolContext::requireFolder(std::string_view folder) {
  if (vault_.lists(folder)) return;
  const auto topLevel = topLevelFolders(vault_);
  const auto isMissingPlace = [&](const Organization::Place& each) {
    return organization().folder(each.role, topLevel) == folder;
  };
  if (std::ranges::any_of(organization().places, isMissingPlace)) return;
  throw ToolError("That folder doesn't exist. Use list_folders to see the options.");
}

}  // namespace vesk
