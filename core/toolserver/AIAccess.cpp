#include "core/toolserver/AIAccess.h"

#include <array>
#include <cstddef>

#include "core/base/Json.h"
#include "core/toolserver/SupportFile.h"

namespace vesk {

namespace {

struct LevelNames {
  std::string_view name;
  std::string_view label;
};

constexpr std::array<LevelNames, 3> levels = {{
    {"always", "Ask for everything"},
    {"important", "Ask for important changes"},
    {"trusted", "Act and let me undo"},
}};

constexpr std::array switches = {
    AccessSwitch{"canRead", &AIAccess::canRead, "Read notes, tasks, diagrams and meetings",
                 "Reading notes is turned off in Vesk."},
    AccessSwitch{"canSearch", &AIAccess::canSearch, "Search the vault", "Search is turned off in Vesk."},
    AccessSwitch{"canFile", &AIAccess::canFile, "File notes into folders", "Filing notes is turned off in Vesk."},
    AccessSwitch{"canCreateNotes", &AIAccess::canCreateNotes, "Create notes", "Creating notes is turned off in Vesk."},
    AccessSwitch{"canCreateFolders", &AIAccess::canCreateFolders, "Create projects, areas and topics",
                 "Creating projects, areas and topics is turned off in Vesk."},
    AccessSwitch{"canAppend", &AIAccess::canAppend, "Add text to the end of notes",
                 "Adding to notes is turned off in Vesk."},
    AccessSwitch{"canEditNotes", &AIAccess::canEditNotes, "Edit and rename notes",
                 "Editing notes is turned off in Vesk."},
    AccessSwitch{"canManageTasks", &AIAccess::canManageTasks, "Add, change and remove tasks",
                 "Managing tasks is turned off in Vesk."},
    AccessSwitch{"canEditDiagrams", &AIAccess::canEditDiagrams, "Create and edit diagrams",
                 "Creating and editing diagrams is turned off in Vesk."},
    AccessSwitch{"canManageFolders", &AIAccess::canManageFolders, "Rename and move folders",
                 "Renaming and moving folders is turned off in Vesk."},
    AccessSwitch{"canTrash", &AIAccess::canTrash, "Move things to the Trash",
                 "Moving things to the Trash is turned off in Vesk."},
    AccessSwitch{"canSync", &AIAccess::canSync, "Sync the vault", "Syncing is turned off in Vesk."},
    AccessSwitch{"canReadEmail", &AIAccess::canReadEmail, "Read email", "Reading email is turned off in Vesk."},
    AccessSwitch{"canDraftEmail", &AIAccess::canDraftEmail, "Draft email", "Drafting email is turned off in Vesk."},
    AccessSwitch{"canManageEmail", &AIAccess::canManageEmail, "Organize email",
                 "Organizing email is turned off in Vesk."},
    AccessSwitch{"allowsClaude", &AIAccess::allowsClaude, "Let Claude connect", ""},
    AccessSwitch{"allowsCodex", &AIAccess::allowsCodex, "Let Codex connect", ""},
};

}  // namespace

std::string_view name(ApprovalLevel level) { return levels[static_cast<std::size_t>(level)].name; }

std::string_view label(ApprovalLevel level) { return levels[static_cast<std::size_t>(level)].label; }

std::optional<ApprovalLevel> approvalLevelNamed(std::string_view name) {
  for (std::size_t i = 0; i < levels.size(); ++i)
    if (levels[i].name == name) return static_cast<ApprovalLevel>(i);
  return std::nullopt;
}

std::span<const AccessSwitch> accessSwitches() { return switches; }

AIAccess AIAccess::load(const std::string& directory) {
  AIAccess access;
  const Json json = supportFile::read(directory, fileName).value_or(Json());
  for (const AccessSwitch& each : switches)
    if (const Json* value = json.find(each.name)) access.*each.value = value->boolean().value_or(access.*each.value);
  if (const Json* path = json.find("vaultPath"); path && path->string() && path->string()->starts_with('/'))
    access.vaultPath = *path->string();
  if (const Json* level = json.find("approval"); level && level->string())
    access.approval = approvalLevelNamed(*level->string()).value_or(access.approval);
  return access;
}

void AIAccess::save(const std::string& directory) const {
  Json json = supportFile::readToRewrite(directory, fileName);
  if (!json.object()) json = Json(Json::Object());
  for (const AccessSwitch& each : switches) json[each.name] = this->*each.value;
  if (vaultPath) json["vaultPath"] = *vaultPath;
  if (!vaultPath) json.object()->erase("vaultPath");
  json["approval"] = name(approval);
  supportFile::write(directory, fileName, json);
}

}  // namespace vesk
