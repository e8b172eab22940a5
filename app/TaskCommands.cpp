// vesk tasks, add, done, doing and todo: the vault's tasks, listed and changed.

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "app/Commands.h"
#include "app/CurrentVault.h"
#include "app/Days.h"
#include "app/Options.h"
#include "app/TaskRows.h"
#include "app/Terminal.h"
#include "core/base/Error.h"
#include "core/base/Json.h"
#include "core/base/Text.h"
#include "core/tasks/Planner.h"
#include "core/tasks/TaskEdit.h"
#include "core/tasks/TaskLine.h"
#include "core/vault/Places.h"

namespace vesk::app {

namespace {

using Tasks = std::vector<TaskItem>;

std::optional<std::string> dueDay(std::string_view typed) {
  const auto day = typedDay(typed);
  return day ? std::optional(time::isoDay(*day)) : std::nullopt;
}

// ---- tasks

struct TasksOptions {
  std::string status = {};
  std::string folder = {};
  std::string due = {};
  bool all = false;
  std::size_t limit = unlimited;
  bool asJson = false;
};

bool hasWantedStatus(const TaskItem& task, const TasksOptions& options) {
  if (!options.status.empty()) return name(task.status) == options.status;
  return options.all || task.status != TaskStatus::done;
}

// What is to be done before what is done, the soonest due first, those without a day last; else as they come.
void sortSoonestFirst(Tasks& tasks) {
  std::ranges::stable_sort(tasks, {}, [](const TaskItem& task) {
    const std::string_view due = task.due ? *task.due : std::string_view();
    return std::tuple(task.status == TaskStatus::done, due.empty(), due);
  });
}

Tasks chosenTasks(Tasks tasks, const Vault& vault, const TasksOptions& options) {
  const std::string folder = options.folder.empty() ? "" : folderNamed(vault, options.folder) + "/";
  const auto due = dueDay(options.due);
  std::erase_if(tasks, [&](const TaskItem& task) {
    if (!hasWantedStatus(task, options) || !task.noteID.starts_with(folder)) return true;
    return due && (!task.due || *task.due > *due);
  });
  sortSoonestFirst(tasks);
  return tasks;
}

void listTasks(const TasksOptions& options) {
  const Vault vault = currentVault();
  const Tasks all = tasksOf(vault);
  Tasks tasks = chosenTasks(all, vault, options);
  const std::size_t total = tasks.size();
  tasks.resize(std::min(total, options.limit));
  if (options.asJson) {
    const Json json = Json::Object{{"tasks", taskEntries(tasks)}, {"total", total}};
    return print("{}\n", json.pretty());
  }
  if (tasks.empty()) fmt::print(stderr, "No task was found.\n");
  print("{}", TaskRows(all, today(), Terminal::ofStandardOutput()).text(tasks, TaskDate::due));
}

// ---- add

struct AddOptions {
  std::vector<std::string> words = {};
  std::string due = {};
  std::string folder = {};
};

// What was typed with the duration made a tag, which may have other tags behind it: "Call Ana 45m #home".
std::string withDuration(std::string_view typed) {
  const std::string words = text::collapseWhitespace(typed);
  std::size_t end = words.size();
  for (std::size_t space = words.rfind(' '); space != std::string::npos && words[space + 1] == '#';
       space = words.rfind(' ', space - 1))
    end = space;
  return Planner::entry(words.substr(0, end)) + words.substr(end);
}

// "Call Ana (45m high, due 2026-11-23)".
std::string describe(const TaskItem& task) {
  std::string details = taskDetails(task, TaskDate::due);
  if (task.due) details += (details.empty() ? "due " : ", due ") + *task.due;
  return details.empty() ? task.title : fmt::format("{} ({})", task.title, details);
}

void add(const AddOptions& options) {
  const Vault vault = currentVault();
  const TaskLine::Parts task = newTask(withDuration(text::join(options.words, " ")), dueDay(options.due));
  if (task.text.empty()) throw Error("A task needs words that say what is to be done.");
  const std::string folder = options.folder.empty() ? inboxFolder(vault) : folderNamed(vault, options.folder);
  const AddedTask added = addTask(vault, task, taskListName, folder);
  print("Added {}\n  {}#{}\n", safe(describe(*TaskLine::task(TaskLine::render(task)))), safe(added.noteID), added.line);
}

// ---- done, doing and todo

// The task of exactly that id, be it in the Archive.
std::optional<TaskItem> taskWithID(const Vault& vault, std::string_view id) {
  if (const NoteRef note = vault.note(id.substr(0, id.rfind('#'))))
    for (TaskItem& task : note->tasks())
      if (task.id() == id) return std::move(task);
  return std::nullopt;
}

// How well a task is what was typed, the best first.
enum class Match { id, title, words, none };

// The words of a text as they are compared, without the punctuation around them.
std::set<std::string> wordsOf(std::string_view text) {
  const std::string key = text::key(text::collapseWhitespace(text));
  std::set<std::string> words;
  for (const std::string_view word : text::split(key, ' ')) words.emplace(text::trim(word, ".,;:!?()\"'"));
  return words;
}

Match match(const TaskItem& task, std::string_view typed) {
  if (task.id().ends_with(fmt::format("/{}", typed))) return Match::id;
  if (text::equalIgnoringCase(task.title, typed)) return Match::title;
  return std::ranges::includes(wordsOf(task.title), wordsOf(typed)) ? Match::words : Match::none;
}

// Those that match best.
Tasks bestMatches(Tasks tasks, std::string_view typed) {
  Match best = Match::none;
  for (const TaskItem& task : tasks) best = std::min(best, match(task, typed));
  if (best == Match::none) return {};
  std::erase_if(tasks, [&](const TaskItem& task) { return match(task, typed) != best; });
  return tasks;
}

std::string severalMatch(const Tasks& tasks, std::string_view typed) {
  constexpr std::size_t most = 20;
  std::string lines;
  for (std::size_t i = 0; i < std::min(tasks.size(), most); ++i)
    lines += fmt::format("  {}  {}\n", safe(tasks[i].id()), safe(tasks[i].title));
  fmt::print(stderr, "{}", lines);
  return fmt::format("{} tasks match \"{}\". Use the id of one.", tasks.size(), typed);
}

// The one task that was meant: of those that don't have the status yet, unless it is named by its id.
TaskItem taskTyped(const Vault& vault, std::string_view typed, TaskStatus status) {
  if (const auto task = taskWithID(vault, typed)) return *task;
  Tasks others = tasksOf(vault);
  std::erase_if(others, [&](const TaskItem& task) { return task.status == status; });
  const Tasks matches = bestMatches(std::move(others), typed);
  if (matches.size() > 1) throw Error(severalMatch(matches, typed));
  if (matches.empty())
    throw Error(fmt::format("No task that isn't {} yet matches \"{}\". vesk tasks lists them.", name(status), typed));
  return matches.front();
}

void setStatus(const std::vector<std::string>& words, TaskStatus status) {
  const std::string typed(text::trimWhitespace(text::join(words, " ")));
  if (typed.empty()) throw Error("Name a task by its id, or by words of its title.");
  const Vault vault = currentVault();
  const TaskItem task = taskTyped(vault, typed, status);
  if (task.status == status) return print("{} is {} already.\n", safe(task.title), name(status));
  update(vault, task, [&](TaskEdit& edit) { edit.status = status; });
  print("{} is {} now.\n  {}\n", safe(task.title), name(status), safe(task.id()));
}

void addStatusCommand(CLI::App& program, TaskStatus status, const char* help) {
  const auto words = std::make_shared<std::vector<std::string>>();
  CLI::App* command = program.add_subcommand(std::string(name(status)), help);
  command->add_option("TASK", *words, "The id that vesk tasks shows, or words of the title.")->required();
  command->callback([words, status] { setStatus(*words, status); });
}

}  // namespace

void addTasksCommand(CLI::App& program) {
  const auto options = std::make_shared<TasksOptions>();
  CLI::App* command = program.add_subcommand("tasks", "List what is to be done, the soonest due first.");
  CLI::Option* status = command->add_option("--status", options->status, "Only tasks that are todo, doing or done.")
                            ->check(CLI::IsMember({"todo", "doing", "done"}));
  command->add_option("--folder", options->folder, "Only tasks in this folder, such as Projects/Garden.");
  command->add_option("--due", options->due, "Only tasks due on or before a day: YYYY-MM-DD, today or tomorrow.")
      ->check(isDay());
  command->add_flag("--all", options->all, "Done tasks, too.")->excludes(status);
  command->add_option("--limit", options->limit, "At most so many.")->check(positive());
  command->add_flag("--json", options->asJson, "Write JSON.");
  command->callback([options] { listTasks(*options); });
}

void addAddCommand(CLI::App& program) {
  const auto options = std::make_shared<AddOptions>();
  CLI::App* command = program.add_subcommand("add", "Add a task, to the inbox unless a folder is given.");
  command->add_option("WORDS", options->words, "What is to be done, such as \"Call Ana 45m #home\".")->required();
  command->add_option("--due", options->due, "The day it is due: YYYY-MM-DD, today or tomorrow.")->check(isDay());
  command->add_option("--folder", options->folder, "The folder to whose task list it is added.");
  command->callback([options] { add(*options); });
}

void addDoneCommand(CLI::App& program) { addStatusCommand(program, TaskStatus::done, "Tick a task off."); }

void addDoingCommand(CLI::App& program) {
  addStatusCommand(program, TaskStatus::doing, "Say that a task has been begun.");
}

void addTodoCommand(CLI::App& program) {
  addStatusCommand(program, TaskStatus::todo, "Say that a task is still to be done.");
}

}  // namespace vesk::app
