// vesk sync: the vault kept in step with a git repository elsewhere.

#include <cstddef>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/Commands.h"
#include "app/CurrentVault.h"
#include "app/Days.h"
#include "app/Options.h"
#include "app/Question.h"
#include "app/Table.h"
#include "app/Terminal.h"
#include "app/WaitingLine.h"
#include "core/base/Calendar.h"
#include "core/base/Error.h"
#include "core/base/Json.h"
#include "core/base/Text.h"
#include "core/base/Time.h"
#include "core/platform/Environment.h"
#include "core/sync/GitCommand.h"
#include "core/sync/GitError.h"
#include "core/sync/GitSync.h"
#include "core/sync/ICloudDrive.h"
#include "core/sync/RemoteAddress.h"

namespace vesk::app {

namespace {

GitSync currentSync() { return GitSync(currentVault().root()); }

bool isInICloud(const GitSync& sync) { return ICloudDrive(environment::home()).contains(sync.root()); }

// ---- What goes wrong

// A file that git could not bring together.
struct ConflictingFile {
  std::string path = {};
  bool isDeleted = false;  // on one side; then the file is the other's, without marks
};

// From the records "u XY …" of git-status(1), "Porcelain Format Version 2"; the path is their eleventh field.
std::vector<ConflictingFile> conflictingFiles(const GitSync& sync) {
  const GitCommand git(sync.root(), {});
  const std::string records = git.run({"--no-optional-locks", "status", "--porcelain=v2", "-z"});
  std::vector<ConflictingFile> files;
  for (const std::string_view record : text::split(records, '\0')) {
    if (!record.starts_with("u ")) continue;
    std::size_t path = 0;
    for (int field = 0; field < 10; ++field) path = record.find(' ', path) + 1;
    files.push_back({std::string(record.substr(path)), record.substr(2, 2).find('D') != std::string_view::npos});
  }
  return files;
}

// "a rebase", "a git am"
std::string named(const std::string& operation) { return (operation == "am" ? "a git " : "a ") + operation; }

// The notes that hold both sides, and how to bring these together.
std::string adviceForConflict(const std::vector<ConflictingFile>& files, const std::string& unfinished,
                              const std::string& git) {
  std::string text;
  for (const ConflictingFile& file : files)
    text += fmt::format("  {}{}\n", safe(file.path),
                        file.isDeleted ? " (deleted on one side, changed on the other: keep it or remove it)" : "");
  if (!std::ranges::all_of(files, &ConflictingFile::isDeleted))
    text += "Between <<<<<<< and >>>>>>> stand both sides. Keep what you want of them.\n";
  text += "Then:\n  git add -A\n";
  if (unfinished.empty()) return text + fmt::format("  {} commit\n", git);
  text += fmt::format("  {} {} --continue\n", git, unfinished);
  return text +
         fmt::format("Or go back to how it was, without all that was written since:\n  git {} --abort\n", unfinished);
}

// Nothing waits for the user: the operation is one of the user's own, or a sync was stopped halfway. Going back must
// not take with it what was written since.
std::string adviceForUnfinished(const GitStatus& status, const std::string& git) {
  std::string text = fmt::format("{} is unfinished. ", named(status.unfinished));
  if (status.unfinished != "rebase")
    return text + fmt::format("To complete it:\n  {} {} --continue\n", git, status.unfinished);
  const bool hasChanges = status.pendingChanges > 0;
  text += "If a sync was stopped halfway, go back to how it was, then sync again:\n";
  if (hasChanges) text += "  git stash -u\n";
  text += "  git rebase --abort\n";
  if (hasChanges) text += "  git stash pop\n";
  return text + fmt::format("If the rebase is your own, complete it:\n  {} rebase --continue\n", git);
}

void explainConflict(const GitSync& sync) {
  const GitStatus status = sync.status();
  const std::string git = sync.commandForCommits();
  const std::string advice = status.hasConflicts ? adviceForConflict(conflictingFiles(sync), status.unfinished, git)
                                                 : adviceForUnfinished(status, git);
  fmt::print(stderr, "In {}\n{}", safe(sync.root()), advice);
}

// Does something with git, and says more than one sentence about what goes wrong.
void attempt(const GitSync& sync, const std::function<void()>& step) {
  try {
    step();
  } catch (const GitError& error) {
    if (error.kind() == GitError::Kind::conflict) explainConflict(sync);
    const std::string_view said = error.what();
    if (said.find('\n') == std::string_view::npos) throw;
    fmt::print(stderr, "{}\n", safeLines(said));
    throw Error("Git could not do this. What it says stands above.");
  }
}

// ---- connect and now

// Throws Error when the vault shares no history with what the repository holds.
void requireRelated(const GitSync& sync, const std::string& address) {
  const GitStatus status = sync.status();
  if (!status.unfinished.empty() || status.hasConflicts) throw GitError::conflict();
  if (sync.isUnrelatedTo(address))
    throw Error(
        fmt::format("{0} has content of its own already. Nothing was changed so far. To bring it and this vault "
                    "together, use vesk sync connect '{0}' --merge.",
                    text::trimSpaces(address)));
}

void run(const GitSync& sync, std::string_view remote, bool allowUnrelated = false) {
  const std::size_t committed = [&] {
    const WaitingLine waiting(fmt::format("Syncing with {} …", remote));
    return sync.sync(allowUnrelated).committed;
  }();
  print("Synced with {}: {} committed.\n", safe(remote),
        committed == 0 ? "nothing was" : counted(committed, "changed file"));
}

void connect(const std::string& address, bool merge) {
  const GitSync sync = currentSync();
  attempt(sync, [&] {
    if (!merge) requireRelated(sync, address);
    sync.connect(address);
    run(sync, remoteAddress::withoutCredentials(text::trimSpaces(address)), merge);
  });
}

void syncNow() {
  const GitSync sync = currentSync();
  attempt(sync, [&] {
    const auto remote = sync.remote();
    if (!remote) sync.status();  // throws what a git that fails says
    if (!remote) throw Error("This vault isn't connected to a repository. Do that with vesk sync connect.");
    run(sync, remoteAddress::withoutCredentials(*remote));
  });
}

// ---- status

Json toJson(const GitStatus& status, bool isInICloud) {
  const auto number = [](const std::optional<std::size_t>& value) { return value ? Json(*value) : Json(); };
  Json json;
  json["connected"] = status.remote.has_value();
  json["remote"] = status.remote ? Json(*status.remote) : Json();
  json["branch"] = status.branch;
  json["pending_changes"] = status.pendingChanges;
  json["ahead"] = number(status.ahead);
  json["behind"] = number(status.behind);
  json["unfinished"] = status.unfinished;
  json["conflicts"] = status.hasConflicts;
  json["in_icloud"] = isInICloud;
  return json;
}

// "2 to send, 1 to fetch"; what the remote has is known as of the last time it was asked.
std::string commitsOf(const GitStatus& status) {
  if (!status.ahead || !status.behind) return "none was sent yet";
  if (*status.ahead == 0 && *status.behind == 0) return "in step, as of the last sync";
  return fmt::format("{} to send, {} to fetch, as of the last sync", *status.ahead, *status.behind);
}

std::string toText(const GitStatus& status, const GitSync& sync, const Terminal& terminal) {
  constexpr std::size_t none = 2;  // every line is shown whole
  Table table(none);
  const auto add = [&](const char* what, std::string value, Style style = Style::plain) {
    table.add({{what, Style::faint}, {std::move(value), style}});
  };
  add("Vault", sync.root());
  add("Connected to", status.remote.value_or("nothing yet: vesk sync connect ADDRESS"));
  if (status.isRepository) {
    add("Branch", status.branch.empty() ? "none is checked out" : status.branch);
    add("Changes", status.pendingChanges == 0 ? "none" : fmt::format("{} to commit", status.pendingChanges));
    if (!status.branch.empty()) add("Commits", commitsOf(status));
  }
  if (!status.unfinished.empty())
    add("Unfinished", fmt::format("{}, to be completed in Git", named(status.unfinished)), Style::bad);
  if (status.hasConflicts) add("Conflicts", "vesk sync now says in which notes, and what to do", Style::bad);
  if (isInICloud(sync))
    add("iCloud Drive", fmt::format("this vault is in it. {}", ICloudDrive::oneAtATime),
        status.remote ? Style::bad : Style::plain);
  return table.text(terminal);
}

void showStatus(bool asJson) {
  const GitSync sync = currentSync();
  attempt(sync, [&] {
    const GitStatus status = sync.status();
    if (asJson) return print("{}\n", toJson(status, isInICloud(sync)).pretty());
    print("{}", toText(status, sync, Terminal::ofStandardOutput()));
  });
}

// ---- history

struct HistoryOptions {
  std::size_t limit = 20;
  bool asJson = false;
};

Json toJson(const std::vector<GitCommit>& commits) {
  Json::Array entries;
  for (const auto& [hash, date, message] : commits)
    entries.push_back(Json::Object{{"hash", hash}, {"date", time::iso8601(date)}, {"message", message}});
  return Json::Object{{"commits", std::move(entries)}};
}

void showHistory(const HistoryOptions& options) {
  const GitSync sync = currentSync();
  attempt(sync, [&] {
    const std::vector<GitCommit> commits = sync.history(options.limit);
    if (options.asJson) return print("{}\n", toJson(commits).pretty());
    if (commits.empty()) fmt::print(stderr, "This vault has no Git history.\n");
    constexpr std::size_t message = 2;
    Table table(message);
    const Calendar calendar = Calendar::ofSystem();
    for (const GitCommit& commit : commits)
      table.add({{shownTime(commit.date, calendar), Style::faint},
                 {commit.hash, Style::plain},
                 {commit.message, Style::strong}});
    print("{}", table.text(Terminal::ofStandardOutput()));
  });
}

// ---- off

void turnOff(bool yes) {
  const GitSync sync = currentSync();
  attempt(sync, [&] {
    if (!sync.isRepository()) throw Error("This vault isn't connected to a repository.");
    std::string remains = "The vault's Git history goes to the Trash.";
    if (const auto remote = sync.remote())
      remains += fmt::format(" The copy on {} stays.", safe(remoteAddress::withoutCredentials(*remote)));
    if (!yes && !canAsk()) throw Error(fmt::format("{} Add --yes if that is what you want.", remains));
    if (!yes && !isConfirmed(fmt::format("{}\nTurn sync off? (y/n)", remains))) return print("Sync stays on.\n");
    print("Sync is off. The history is in {} now.\n", safe(sync.removeRepository()));
  });
}

// ---- The commands

void addSyncConnectCommand(CLI::App& sync) {
  const auto address = std::make_shared<std::string>();
  const auto merge = std::make_shared<bool>(false);
  CLI::App* command = sync.add_subcommand("connect", "Connect the vault to a repository, and sync with it.");
  command->add_option("ADDRESS", *address, "The repository: git@…, ssh://…, https://…, file://… or a path.")
      ->required();
  command->add_flag("--merge", *merge, "Bring the vault together with what the repository holds already.");
  command->callback([address, merge] { connect(*address, *merge); });
}

void addSyncStatusCommand(CLI::App& sync) {
  const auto asJson = std::make_shared<bool>(false);
  CLI::App* command = sync.add_subcommand("status", "Show what the vault is synced with, and what waits.");
  command->add_flag("--json", *asJson, "Write JSON.");
  command->callback([asJson] { showStatus(*asJson); });
}

void addHistoryCommand(CLI::App& sync) {
  const auto options = std::make_shared<HistoryOptions>();
  CLI::App* command = sync.add_subcommand("history", "List the last commits, the latest first.");
  command->add_option("--limit", options->limit, "At most so many; 20 unless given.")->check(positive());
  command->add_flag("--json", options->asJson, "Write JSON.");
  command->callback([options] { showHistory(*options); });
}

void addOffCommand(CLI::App& sync) {
  const auto yes = std::make_shared<bool>(false);
  CLI::App* command = sync.add_subcommand("off", "Turn sync off; the repository elsewhere stays.");
  command->add_flag("--yes", *yes, "Don't ask.");
  command->callback([yes] { turnOff(*yes); });
}

}  // namespace

void addSyncCommand(CLI::App& program) {
  CLI::App* command = program.add_subcommand("sync", "Keep the vault in step with a Git repository.");
  command->require_subcommand(1);
  addSyncConnectCommand(*command);
  command->add_subcommand("now", "Commit everything, fetch what is new, and send it.")->callback(syncNow);
  addSyncStatusCommand(*command);
  addHistoryCommand(*command);
  addOffCommand(*command);
}

}  // namespace vesk::app
