// vesk actions and vesk undo: what assistants did, and taking it back.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/Commands.h"
#include "app/CurrentVault.h"
#include "app/Days.h"
#include "app/DiffView.h"
#include "app/Options.h"
#include "app/Question.h"
#include "app/ShortID.h"
#include "app/Table.h"
#include "app/Terminal.h"
#include "core/base/Calendar.h"
#include "core/base/DiffLine.h"
#include "core/base/Error.h"
#include "core/base/Json.h"
#include "core/platform/Environment.h"
#include "core/platform/Folder.h"
#include "core/toolserver/AIActionLog.h"
#include "core/toolserver/Undo.h"

namespace vesk::app {

namespace {

using Kind = AIAction::Kind;
using Actions = std::vector<AIAction>;

AIActionLog currentLog() { return AIActionLog(environment::supportDirectory()); }

// In the order of the kinds.
constexpr std::array<std::string_view, 13> kindWords = {
    "Read",    "Searched",     "Moved",   "Created", "Made folder",   "Added to",        "Edited",
    "Renamed", "Moved folder", "Trashed", "Synced",  "Drafted email", "Organized email",
};

std::string_view words(Kind kind) { return kindWords[static_cast<std::size_t>(kind)]; }

std::string nameOf(const std::string& folder) { return folder.empty() ? "the top" : folder; }

// What the path doesn't say: the title, or where the item was before.
std::string remark(const AIAction& action) {
  const std::string_view file = lastComponent(*action.noteID);
  const std::string from = action.fromFolder.value_or("");
  switch (action.kind) {
    case Kind::file: return "from " + nameOf(from);
    case Kind::moveFolder: return "from " + nameOf(std::string(parentPath(from)));
    case Kind::rename: return fmt::format("was {}", lastComponent(from));
    default: return file.substr(0, file.rfind('.')) == action.title ? "" : action.title;
  }
}

// What an action was about: "Projects/Plan.md (from Inbox)".
std::string subject(const AIAction& action) {
  if (action.resultCount)
    return fmt::format("{} ({})", action.title, counted(static_cast<std::size_t>(*action.resultCount), "result"));
  if (!action.noteID) return action.title;
  const std::string more = remark(action);
  return more.empty() ? *action.noteID : fmt::format("{} ({})", *action.noteID, more);
}

// ---- actions

struct ActionsOptions {
  std::size_t limit = 50;
  bool changes = false;
  bool asJson = false;
};

Actions chosenActions(const ActionsOptions& options) {
  Actions actions = currentLog().recent(options.changes ? unlimited : options.limit);
  if (options.changes) std::erase_if(actions, [](const AIAction& action) { return !action.changesVault(); });
  actions.resize(std::min(actions.size(), options.limit));
  return actions;
}

std::string idColumn(const AIAction& action) {
  if (action.isUndone) return "undone";
  return action.canUndo() ? shortID(action.id) : "";
}

std::string toText(const Actions& actions, const Terminal& terminal) {
  constexpr std::size_t flexible = 2;
  const Calendar calendar = Calendar::ofSystem();
  Table table(flexible);
  for (const AIAction& action : actions)
    table.add({{shownTime(action.date, calendar), Style::faint},
               {std::string(words(action.kind)), Style::plain},
               {subject(action), Style::strong},
               {idColumn(action), Style::faint}});
  return table.text(terminal);
}

void listActions(const ActionsOptions& options) {
  const Actions actions = chosenActions(options);
  if (options.asJson) {
    Json::Array entries;
    for (const AIAction& action : actions) entries.push_back(toJson(action));
    return print("{}\n", Json(Json::Object{{"actions", std::move(entries)}}).pretty());
  }
  if (actions.empty())
    fmt::print(stderr, "No assistant has done anything{}.\n", options.changes ? " to the vault" : "");
  print("{}", toText(actions, Terminal::ofStandardOutput()));
}

// ---- undo

struct UndoOptions {
  std::string id = {};
  bool last = false;
  bool yes = false;
};

AIAction lastAction(const Vault& vault) {
  for (AIAction& action : currentLog().recent(unlimited))
    if (action.canUndo() && action.vaultPath.value_or(vault.root()) == vault.root()) return std::move(action);
  throw Error("No assistant has done anything in this vault that could be undone.");
}

AIAction chosenAction(const UndoOptions& options, const Vault& vault) {
  return options.last ? lastAction(vault) : itemWithID(currentLog().recent(unlimited), options.id);
}

void describe(const AIAction& action, const Terminal& terminal) {
  print("{}  {}  {}\n", styled(shownTime(action.date, Calendar::ofSystem()), Style::faint, terminal),
        words(action.kind), styled(safe(subject(action)), Style::strong, terminal));
}

void undoAction(const UndoOptions& options) {
  const Vault vault = currentVault();
  const Terminal terminal = Terminal::ofStandardOutput();
  const AIAction action = chosenAction(options, vault);
  describe(action, terminal);
  if (const auto obstacle = undo::obstacle(action, vault, environment::supportDirectory())) throw Error(*obstacle);
  print("{}\n", safe(undo::description(action)));
  if (action.before && action.after) {
    const auto changes = compared(*action.after, *action.before, kindOf(action.noteID.value_or("")));
    print("{}", diffText(changes, terminal));
  }
  if (action.appended) print("{}", diffText(DiffLine::compare(*action.appended, ""), terminal));
  if (!options.yes && canAsk() && !isConfirmed("Undo it? (y/n)")) return print("Nothing was undone.\n");
  currentLog().undo(action, vault);
  print("Undone.\n");
}

}  // namespace

void addActionsCommand(CLI::App& program) {
  const auto options = std::make_shared<ActionsOptions>();
  CLI::App* command = program.add_subcommand("actions", "List what assistants did, the latest first.");
  command->add_option("--limit", options->limit, "At most so many; 50 unless given.")->check(positive());
  command->add_flag("--changes", options->changes, "Only what changed the vault.");
  command->add_flag("--json", options->asJson, "Write JSON.");
  command->callback([options] { listActions(*options); });
}

void addUndoCommand(CLI::App& program) {
  const auto options = std::make_shared<UndoOptions>();
  CLI::App* command = program.add_subcommand("undo", "Take back what an assistant did.");
  CLI::Option* id = command->add_option("ID", options->id, "The beginning of the action's id, from vesk actions.");
  CLI::Option* last = command->add_flag("--last", options->last, "The latest that was not undone yet.")->excludes(id);
  command->add_flag("--yes", options->yes, "Don't ask.");
  command->callback([options, id, last] {
    if (id->empty() && last->empty()) throw CLI::RequiredError("ID or --last");
    undoAction(*options);
  });
}

}  // namespace vesk::app
