#include "core/toolserver/tools/FolderTools.h"

#include <fmt/format.h>

#include "core/platform/Folder.h"
#include "core/toolserver/ToolError.h"
#include "core/toolserver/ToolResult.h"
#include "core/toolserver/tools/LostLinks.h"
#include "core/vault/Places.h"
#include "core/vault/VaultError.h"

namespace vesk {

namespace {

using toolResult::pathResult;
using toolResult::quoted;

constexpr const char* parentMissing = "A parent from list_folders is required.";

PlannedChange planFolder(ToolContext& context, const std::string& name, const std::string& parent, std::string title) {
  const std::string path = joinPath(parent, Vault::fileName(name));
  if (context.vault().exists(path)) throw ToolError(fmt::format("{} already exists.", lastComponent(path)));
  PlannedChange change{.title = std::move(title), .destination = path};
  change.carryOut = [&context, name, parent] { return pathResult(context.changes().createFolder(name, parent)); };
  return change;
}

PlannedChange createCollection(ToolContext& context, const ToolArguments& arguments) {
  constexpr const char* missing = "A name and a kind of project, area or topic are required.";
  const std::string name = arguments.text("name", missing);
  const std::string kind = arguments.text("kind", missing);
  const auto role = kind == "project" ? Bucket::projects
                    : kind == "area"  ? Bucket::areas
                    : kind == "topic" ? Bucket::resources
                                      : Bucket::other;
  if (role == Bucket::other) throw ToolError("The kind must be project, area or topic.");
  const auto place = placeFolder(context.vault(), role);
  if (!place) throw ToolError("This vault has no place for that kind. Use get_organization to see its folders.");
  return planFolder(context, name, *place, fmt::format("Create the {} {}", kind, quoted(name)));
}

PlannedChange createFolder(ToolContext& context, const ToolArguments& arguments) {
  const std::string name = arguments.text("name", "A folder name is required.");
  const std::string parent = context.folder(arguments, "parent", parentMissing);
  return planFolder(context, name, parent, fmt::format("Create the folder {} in {}", quoted(name), parent));
}

// The folder to be changed. The places of the vault, and what else lies beside them, keep their names.
std::string folderWithin(ToolContext& context, const ToolArguments& arguments) {
  std::string folder = context.folder(arguments, "folder", "A folder path is required.");
  if (folder.find('/') == std::string::npos)
    throw ToolError(fmt::format("{} is part of the vault's structure and can't be changed.", folder));
  return folder;
}

void requireFree(const ToolContext& context, const std::string& folder, const std::string& destination) {
  if (destination != folder && context.vault().exists(destination)) throw VaultError::nameTaken();
}

PlannedChange renameFolder(ToolContext& context, const ToolArguments& arguments) {
  const std::string folder = folderWithin(context, arguments);
  const std::string name = arguments.text("name", "A new name is required.");
  const std::string destination = joinPath(parentPath(folder), Vault::fileName(name));
  requireFree(context, folder, destination);
  PlannedChange change{.title = fmt::format("Rename the folder {} to {}", quoted(folder), quoted(name)),
                       .destination = destination};
  change.carryOut = [&context, folder, name] {
    const LinkWatch links(context.vault(), folder);
    return movedResult(context.changes().renameFolder(folder, name), links);
  };
  return change;
}

PlannedChange moveFolder(ToolContext& context, const ToolArguments& arguments) {
  const std::string folder = folderWithin(context, arguments);
  const std::string parent = context.folder(arguments, "parent", parentMissing);
  if (parent == folder || parent.starts_with(folder + "/")) throw VaultError::invalidMove();
  const std::string destination = joinPath(parent, lastComponent(folder));
  requireFree(context, folder, destination);
  PlannedChange change{.title = fmt::format("Move the folder {} to {}", quoted(folder), parent),
                       .destination = destination};
  change.carryOut = [&context, folder, parent] {
    const LinkWatch links(context.vault(), folder);
    return movedResult(context.changes().moveFolder(folder, parent), links);
  };
  return change;
}

PlannedChange trashFolder(ToolContext& context, const ToolArguments& arguments) {
  const std::string folder = folderWithin(context, arguments);
  PlannedChange change{.title = fmt::format("Move the folder {} to the Trash", quoted(folder))};
  change.carryOut = [&context, folder] {
    const LinkWatch links(context.vault(), folder);
    context.changes().trash(folder, lastComponent(folder));
    return trashedResult(folder, links);
  };
  return change;
}

}  // namespace

Tool createCollectionTool() {
  return {"create_collection",
          "Create a new project, area or topic.",
          {{"name", "string", "Its name.", true},
           {"kind", "string", "What it is.", true, {}, {}, {"project", "area", "topic"}}},
          Effect::adds,
          &AIAccess::canCreateFolders,
          createCollection};
}

Tool createFolderTool() {
  return {"create_folder",
          "Create a folder inside an existing folder.",
          {{"name", "string", "The folder's name.", true}, {"parent", "string", "A path from list_folders.", true}},
          Effect::adds,
          &AIAccess::canCreateFolders,
          createFolder};
}

Tool renameFolderTool() {
  return {"rename_folder",
          "Rename a folder. The vault's top-level folders can't change.",
          {parameters::folder(true), {"name", "string", "The new name.", true}},
          Effect::changes,
          &AIAccess::canManageFolders,
          renameFolder};
}

Tool moveFolderTool() {
  return {"move_folder",
          "Move a folder and everything in it, for example to archive a project.",
          {parameters::folder(true), {"parent", "string", "A path from list_folders.", true}},
          Effect::changes,
          &AIAccess::canManageFolders,
          moveFolder};
}

Tool trashFolderTool() {
  return {"trash_folder",
          "Move a folder and everything in it to the Trash. The user can undo this in Vesk.",
          {parameters::folder(true)},
          Effect::destroys,
          &AIAccess::canTrash,
          trashFolder};
}

}  // namespace vesk
