#include "core/toolserver/tools/StructureTools.h"

#include "core/base/Text.h"
#include "core/tasks/TaskLine.h"
#include "core/toolserver/ToolResult.h"
#include "core/vault/VaultSearch.h"

namespace vesk {

namespace {

// Places, folders and tags are short, and are wanted all at once: as many as fit a result.
constexpr std::size_t everything = static_cast<std::size_t>(-1);

std::string listFolders(ToolContext& context, const ToolArguments& arguments) {
  const auto& folders = context.folders();
  const auto counts = notesWithin(folders);
  toolResult::Page page("folders", folders.size(), arguments.offset(), everything);
  for (std::size_t i = page.begin(); i < page.end(); ++i) {
    Json entry;
    entry["path"] = folders[i].path;
    entry["role"] = bucket::name(folders[i].bucket);
    entry["notes"] = counts.at(folders[i].path);
    if (!page.add(std::move(entry))) break;
  }
  return page.text();
}

std::string listTags(ToolContext& context, const ToolArguments& arguments) {
  auto tags = countTags(context.vault());
  std::erase_if(tags, [](const TagCount& tag) { return TaskLine::isControlTag(tag.name); });
  toolResult::Page page("tags", tags.size(), arguments.offset(), everything);
  for (std::size_t i = page.begin(); i < page.end(); ++i) {
    Json entry;
    entry["tag"] = toolResult::shortened(tags[i].name, 200);
    entry["notes"] = tags[i].count;
    if (!page.add(std::move(entry))) break;
  }
  return page.text();
}

std::string_view whatWaits(ApprovalLevel level) {
  switch (level) {
    case ApprovalLevel::always: return "Every change waits until the user approves it in Vesk.";
    case ApprovalLevel::important:
      return "Changes to what exists wait until the user approves them in Vesk. Adding does not.";
    case ApprovalLevel::trusted: return "Nothing waits. The user can undo what you change.";
  }
  return {};
}

std::string getOrganization(ToolContext& context, const ToolArguments& arguments) {
  const Organization& organization = context.organization();
  const auto& places = organization.places;
  toolResult::Page page("places", places.size(), arguments.offset(), everything);
  for (std::size_t i = page.begin(); i < page.end(); ++i) {
    Json entry;
    entry["folder"] = toolResult::shortened(places[i].folder, 255);
    entry["role"] = bucket::name(places[i].role);
    if (!page.add(std::move(entry))) break;
  }
  const ApprovalLevel level = context.access().approval;
  Json result;
  result["method"] = name(organization.method);
  result["approval"]["level"] = name(level);
  result["approval"]["label"] = label(level);
  result["approval"]["means"] = whatWaits(level);
  result["approval"]["waiting"] = context.proposals().all().size();
  return page.text(std::move(result));
}

}  // namespace

std::unordered_map<std::string_view, std::size_t> notesWithin(const std::vector<FolderSummary>& folders) {
  std::unordered_map<std::string_view, std::size_t> counts;
  for (const FolderSummary& folder : folders)
    for (std::string_view path = folder.path; !path.empty(); path = parentPath(path)) counts[path] += folder.notes;
  return counts;
}

Tool listFoldersTool() {
  return {"list_folders",         "List the folders a note can be filed into.",
          {parameters::offset()}, Effect::reads,
          &AIAccess::canRead,     listFolders};
}

Tool listTagsTool() {
  return {"list_tags",
          "List every tag and how many notes use it.",
          {parameters::offset()},
          Effect::reads,
          &AIAccess::canRead,
          listTags};
}

Tool getOrganizationTool() {
  return {"get_organization",
          "How this vault is organized: its method, which folder plays which role, and how much of your work waits for "
          "approval.",
          {parameters::offset()},
          Effect::reads,
          &AIAccess::canRead,
          getOrganization};
}

}  // namespace vesk
