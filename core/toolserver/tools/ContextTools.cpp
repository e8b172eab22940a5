#include "core/toolserver/tools/ContextTools.h"

#include <algorithm>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "core/base/Text.h"
#include "core/base/Time.h"
#include "core/insights/ProjectContext.h"
#include "core/toolserver/ToolError.h"
#include "core/toolserver/ToolResult.h"
#include "core/toolserver/tools/PlanEdit.h"
#include "core/toolserver/tools/StructureTools.h"

namespace vesk {

namespace {

constexpr std::size_t summaryCharacters = 200;
constexpr std::size_t titleCharacters = 200;
constexpr std::size_t contextUnits = 20'000;

std::string_view topOf(std::string_view path) { return path.substr(0, path.find('/')); }

// ---- get_context_map

std::optional<std::string> summaryOf(const Vault& vault, const std::string& folder) {
  const NoteRef note = vault.note(ProjectContext::path(folder));
  return note ? ProjectContext::summary(note->body, summaryCharacters) : std::nullopt;
}

// The folders directly in the places of projects, areas and resources.
bool isCollection(const FolderSummary& folder) {
  const bool hasRole =
      folder.bucket == Bucket::projects || folder.bucket == Bucket::areas || folder.bucket == Bucket::resources;
  return hasRole && std::count(folder.path.begin(), folder.path.end(), '/') == 1;
}

std::string getContextMap(ToolContext& context, const ToolArguments& arguments) {
  const auto& all = context.folders();
  const auto counts = notesWithin(all);
  std::vector<const FolderSummary*> shown;
  for (const FolderSummary& folder : all)
    if (parentPath(folder.path).empty() || isCollection(folder)) shown.push_back(&folder);
  toolResult::Page page("folders", shown.size(), arguments.offset(), shown.size());
  for (std::size_t i = page.begin(); i < page.end(); ++i) {
    const FolderSummary& folder = *shown[i];
    Json entry;
    entry["path"] = folder.path;
    entry["role"] = bucket::name(folder.bucket);
    entry["notes"] = counts.at(folder.path);
    if (folder.bucket == Bucket::projects && isCollection(folder)) {
      const auto summary = summaryOf(context.vault(), folder.path);
      entry["summary"] = summary ? Json(*summary) : Json();
    }
    if (!page.add(std::move(entry))) break;
  }
  return page.text();
}

// ---- The project that a call is about

struct Project {
  std::string folder = {};
  std::vector<NoteRef> notes = {};  // in it and below, its context note left out
  NoteRef context = {};             // nullptr without one
};

Project projectOf(ToolContext& context, const ToolArguments& arguments) {
  const std::string wanted = arguments.text("project", "A project path or name is required.");
  const Organization& organization = context.organization();
  const VaultSnapshot snapshot = context.vault().scanOnce(
      [&](const NoteFile& file) { return organization.role(topOf(file.id)) == Bucket::projects; });
  const FolderNode* folder = ProjectContext::findProject(snapshot, wanted);
  if (!folder) throw ToolError("No project has that name. Use get_context_map to see the options.");
  Project project{.folder = folder->id, .context = ProjectContext::note(*folder)};
  for (const NoteRef& note : snapshot.notes)
    if (note != project.context && note->id.starts_with(project.folder + "/")) project.notes.push_back(note);
  sortNewestFirst(project.notes);
  return project;
}

// ---- get_project_context

std::string getProjectContext(ToolContext& context, const ToolArguments& arguments) {
  const Project project = projectOf(context, arguments);
  Json result;
  result["project"] = project.folder;
  result["context"] = Json();
  if (project.context) {
    const auto parts = toolResult::parts(project.context->body, contextUnits);
    result["context"] = parts.front();
    result["context_note"] = project.context->id;
    if (parts.size() > 1) result["context_is_cut"] = "Use read_note with the context_note for the rest.";
    context.recordRead(project.context->title, project.context->id);
  } else {
    result["message"] = "This project has no summary yet. One can be written with update_project_context.";
  }
  toolResult::Page page("notes", project.notes.size(), arguments.offset(), project.notes.size(), contextUnits);
  for (std::size_t i = page.begin(); i < page.end(); ++i) {
    Json entry;
    entry["path"] = project.notes[i]->id;
    entry["title"] = toolResult::shortened(project.notes[i]->title, titleCharacters);
    entry["modified"] = time::iso8601(project.notes[i]->modified);
    if (!page.add(std::move(entry))) break;
  }
  return page.text(std::move(result));
}

// ---- update_project_context

PlannedChange updateProjectContext(ToolContext& context, const ToolArguments& arguments) {
  const Project project = projectOf(context, arguments);
  const std::string text = arguments.text("text", "The context text is required.");
  if (text::trimWhitespace(text).empty()) throw ToolError("The context text is required.");
  const std::string path = ProjectContext::path(project.folder);
  const std::string title = fmt::format("Replace the summary of {}", toolResult::quoted(lastComponent(project.folder)));
  std::string whole = ProjectContext::contextText(text);
  if (context.vault().exists(path))
    return planEdit(context, path, "Context", title, [whole](const std::string&) { return whole; });
  PlannedChange change{.title = title, .notePath = path};
  change.after = whole;
  change.carryOut = [&context, path, whole] {
    if (!context.changes().createFile(path, "Context", whole)) throw VaultError::conflict();
    return toolResult::pathResult(path);
  };
  return change;
}

Parameter project() { return {"project", "string", "The project's path or name.", true}; }

}  // namespace

Tool getContextMapTool() {
  return {"get_context_map",
          "Start here. The vault's top level: each folder's role, its collections and a one-line summary of each "
          "project.",
          {parameters::offset()},
          Effect::reads,
          &AIAccess::canRead,
          getContextMap};
}

Tool getProjectContextTool() {
  return {"get_project_context",
          "A project's approved summary and the list of its notes. Read this before opening the notes.",
          {project(), parameters::offset()},
          Effect::reads,
          &AIAccess::canRead,
          getProjectContext};
}

Tool updateProjectContextTool() {
  return {"update_project_context",
          "Replace a project's summary: goal, where it stands, decisions and sources. Keep it short.",
          {project(), {"text", "string", "The whole summary, in Markdown.", true}},
          Effect::changes,
          &AIAccess::canEditNotes,
          updateProjectContext};
}

}  // namespace vesk
