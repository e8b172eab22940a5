// vesk context: the note that says what a project is about, shown or edited.

#include <memory>
#include <string>
#include <string_view>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/Commands.h"
#include "app/CurrentVault.h"
#include "app/NoteEdit.h"
#include "app/Terminal.h"
#include "core/base/Error.h"
#include "core/base/Text.h"
#include "core/insights/ProjectContext.h"
#include "core/platform/Environment.h"

namespace vesk::app {

namespace {

struct ContextOptions {
  std::string project = {};
  bool edits = false;
};

// A project's context note as it was found.
struct Context {
  std::string project = {};  // the folder's path
  NoteRef note = {};         // nullptr when there is none
};

Context contextOf(const Vault& vault, std::string_view typed) {
  const VaultSnapshot snapshot = vault.scan();
  const FolderNode* project = ProjectContext::findProject(snapshot, typed);
  if (!project) throw Error(fmt::format("There is no project {}. List them with vesk projects.", typed));
  return {project->id, ProjectContext::note(*project)};
}

void show(const Context& context) {
  if (!context.note)
    throw Error(
        fmt::format("{0} has no context note yet. Write it with vesk context \"{0}\" --edit.", context.project));
  const std::string_view text = text::trim(context.note->body, "\r\n");
  writeData(fmt::format("{}\n", text), Terminal::ofStandardOutput());
}

// The whole file is edited, so that the user sees the front matter that makes it a context note.
void edit(const Vault& vault, const Context& context) {
  if (context.note) return editNote(vault, context.note->id);
  const std::string start = ProjectContext::contextText(ProjectContext::startingText(environment::language()));
  editNote(vault, ProjectContext::path(context.project), start);
}

void run(const ContextOptions& options) {
  const Vault vault = currentVault();
  const Context context = contextOf(vault, options.project);
  if (options.edits) return edit(vault, context);
  show(context);
}

}  // namespace

void addContextCommand(CLI::App& program) {
  const auto options = std::make_shared<ContextOptions>();
  CLI::App* command = program.add_subcommand("context", "Show or edit what is said about a project as a whole.");
  command->add_option("PROJECT", options->project, "The project's name, or its folder's path.")->required();
  command->add_flag("--edit", options->edits, "Open it in your editor ($VISUAL or $EDITOR); it is made when missing.");
  command->callback([options] { run(*options); });
}

}  // namespace vesk::app
