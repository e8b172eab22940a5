#include "core/toolserver/tools/TaskTools.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include <fmt/format.h>

#include "core/base/Ascii.h"
#include "core/base/Text.h"
#include "core/base/Time.h"
#include "core/platform/Folder.h"
#include "core/tasks/TaskEdit.h"
#include "core/tasks/TaskList.h"
#include "core/toolserver/ToolError.h"
#include "core/toolserver/ToolResult.h"
#include "core/toolserver/tools/PlanEdit.h"

namespace vesk {

namespace {

using toolResult::quoted;

constexpr const char* badStatus = "Status must be todo, doing or done.";
constexpr const char* badPriority = "Priority must be high or low.";
constexpr const char* badDay = "Dates must be written as YYYY-MM-DD.";
constexpr const char* badDuration = "Durations must be between 1 and 1440 minutes.";
constexpr const char* badStart = "Start times must be written as HH:MM.";
constexpr const char* badReminder = "Reminders must be written as HH:MM.";
constexpr const char* textMissing = "The task's text is required.";

// ---- Arguments

// As the due tag takes it: the shape, not the calendar.
bool isDay(std::string_view text) {
  constexpr std::string_view shape = "0000-00-00";
  return std::equal(text.begin(), text.end(), shape.begin(), shape.end(),
                    [](char c, char expected) { return expected == '0' ? c >= '0' && c <= '9' : c == expected; });
}

bool isTime(std::string_view text) { return time::parseTimeOfDay(text).has_value(); }

// Sets a field from an argument that was given; an empty one clears it.
template <typename Field>
void setText(Field& field, const ToolArguments& arguments, std::string_view key, bool (*fits)(std::string_view),
             const char* message) {
  const auto value = arguments.given(key, message);
  if (!value) return;
  if (!value->empty() && !fits(*value)) throw ToolError(message);
  field = value->empty() ? std::nullopt : value;
}

void setPriority(std::optional<TaskPriority>& priority, const ToolArguments& arguments) {
  const auto value = arguments.given("priority", badPriority);
  if (!value) return;
  priority = taskPriorityNamed(*value);
  if (!priority && !value->empty()) throw ToolError(badPriority);
}

std::optional<int> durationOf(const ToolArguments& arguments) {
  return arguments.number("duration_minutes", 1, 1440, badDuration);
}

std::optional<TaskStatus> statusOf(const ToolArguments& arguments) {
  const auto value = arguments.given("status", badStatus);
  if (!value) return std::nullopt;
  const auto status = taskStatusNamed(*value);
  if (!status) throw ToolError(badStatus);
  return status;
}

// ---- list_tasks

constexpr std::size_t longestText = 500;  // characters

Json entryOf(const TaskItem& task) {
  Json entry;
  entry["id"] = task.id();
  entry["text"] = toolResult::shortened(task.text, longestText);
  entry["status"] = name(task.status);
  entry["note"] = task.noteID;
  if (task.due) entry["due"] = *task.due;
  if (task.priority) entry["priority"] = name(*task.priority);
  if (task.reminder) entry["reminder"] = *task.reminder;
  if (task.duration) entry["duration_minutes"] = *task.duration;
  if (task.start) entry["start"] = *task.start;
  return entry;
}

std::string listTasks(ToolContext& context, const ToolArguments& arguments) {
  TaskFilter filter{.status = statusOf(arguments)};
  if (arguments.optionalText("folder"))
    filter.folder = context.folder(arguments, "folder", "A folder path is required.");
  setText(filter.dueBy, arguments, "due_by", isDay, badDay);
  TaskList tasks(context.vault(), filter);
  toolResult::Page page("tasks", tasks.size(), arguments.offset(), arguments.limit());
  for (const TaskItem& task : tasks.page(page.begin(), page.end()))
    if (!page.add(entryOf(task))) break;
  return page.text();
}

// ---- add_task

// The task at the end of its list, as list_tasks would give it.
std::string addedResult(const std::string& list, std::string_view listText, const TaskLine::Parts& task) {
  TaskItem item = *TaskLine::task(TaskLine::render(task));
  item.noteID = list;
  item.line = static_cast<std::size_t>(std::count(listText.begin(), listText.end(), '\n')) - 1;
  return entryOf(item).pretty();
}

PlannedChange addTaskToList(ToolContext& context, const ToolArguments& arguments) {
  TaskLine::Parts task = newTask(arguments.text("text", textMissing));
  if (task.text.empty()) throw ToolError(textMissing);
  setText(task.due, arguments, "due", isDay, badDay);
  setPriority(task.priority, arguments);
  if (const auto minutes = durationOf(arguments)) task.duration = minutes;
  const std::string folder = context.folderOrInbox(arguments);
  const std::string list = Vault::noteID(taskListName, folder);
  withNewTask("", task);  // throws for what can't be written
  PlannedChange change{.title = fmt::format("Add the task {} to {}", quoted(TaskLine::plainLinks(task.text)), folder),
                       .destination = list};
  change.carryOut = [&context, task, list] {
    const RecordedChanges::Edit edit = [&](const std::string& text) { return withNewTask(text, task); };
    std::string text = edit("");
    if (!context.changes().createFile(list, taskListName, text))
      text = context.changes().append(list, taskListName, edit).after;
    return addedResult(list, text, task);
  };
  return change;
}

// ---- The tools for one task

PlannedChange planTaskEdit(ToolContext& context, const TaskItem& task, std::string_view verb,
                           RecordedChanges::Edit edit) {
  return planEdit(context, task.noteID, task.noteTitle,
                  fmt::format("{} the task {} in {}", verb, quoted(task.title), quoted(task.noteTitle)),
                  std::move(edit));
}

void requireAnyChange(const ToolArguments& arguments) {
  for (const char* key : {"status", "due", "priority", "reminder", "duration_minutes", "start", "text"})
    if (arguments.has(key)) return;
  throw ToolError("Nothing to change: give status, due, priority, reminder, duration_minutes, start or text.");
}

TaskEdit editOf(const TaskItem& task, const ToolArguments& arguments) {
  requireAnyChange(arguments);
  TaskEdit edit(task);
  if (const auto status = statusOf(arguments)) edit.status = *status;
  setText(edit.due, arguments, "due", isDay, badDay);
  setPriority(edit.priority, arguments);
  setText(edit.reminder, arguments, "reminder", isTime, badReminder);
  if (const auto minutes = durationOf(arguments)) edit.duration = minutes;
  setText(edit.start, arguments, "start", isTime, badStart);
  if (!edit.due && arguments.optionalText("start")) throw ToolError("A start time needs a due day.");
  if (!edit.due && arguments.has("due")) edit.start.reset();
  if (const auto text = arguments.given("text", textMissing)) {
    if (TaskLine::parseText(*text).text.empty()) throw ToolError(textMissing);
    edit.text = *text;
  }
  return edit;
}

PlannedChange updateTask(ToolContext& context, const ToolArguments& arguments) {
  const TaskItem task = context.task(arguments);
  const TaskEdit edit = editOf(task, arguments);
  const auto change = [edit](TaskEdit& current) { current = edit; };
  PlannedChange planned = planTaskEdit(
      context, task, "Change", [task, change](const std::string& text) { return withTask(text, task, change); });
  planned.carryOut = [carryOut = planned.carryOut, after = planned.after, task] {
    carryOut();
    for (const TaskItem& changed : TaskLine::tasks(*after, {task.noteID, task.noteTitle, task.bucket}))
      if (changed.line == task.line) return entryOf(changed).pretty();
    return toolResult::pathResult(task.noteID);
  };
  return planned;
}

PlannedChange removeTask(ToolContext& context, const ToolArguments& arguments) {
  const TaskItem task = context.task(arguments);
  PlannedChange change =
      planTaskEdit(context, task, "Remove", [task](const std::string& text) { return withoutTask(text, task); });
  change.carryOut = [carryOut = change.carryOut, task] {
    carryOut();
    Json result;
    result["removed"] = toolResult::shortened(task.text, longestText);
    result["note"] = task.noteID;
    result["hint"] = "The ids of the tasks below it in this note have changed. Use list_tasks to get fresh ones.";
    return result.pretty();
  };
  return change;
}

PlannedChange addTaskNote(ToolContext& context, const ToolArguments& arguments) {
  const TaskItem task = context.task(arguments);
  if (task.linkedNote) throw ToolError("This task already has a note.");
  const auto linkedTo = [task](const std::string& noteID) {
    return [task, noteID](const std::string& text) {
      return withTask(text, task, [&](TaskEdit& edit) { edit.text = textLinkedTo(noteID, task); });
    };
  };
  PlannedChange change =
      planTaskEdit(context, task, "Give a note to", linkedTo(context.vault().nextNoteID(task.title, task.folderPath)));
  change.carryOut = [&context, task, linkedTo] {
    const std::string noteID = context.changes().createNote(task.title, "", {}, task.folderPath);
    try {
      context.changes().edit(task.noteID, task.noteTitle, linkedTo(noteID));
    } catch (const Error&) {
      context.changes().takeBackLast();
      throw;
    }
    return toolResult::pathResult(noteID);
  };
  return change;
}

Parameter status(std::string_view description) {
  return {"status", "string", description, false, {}, {}, {"todo", "doing", "done"}};
}

}  // namespace

Tool listTasksTool() {
  return {"list_tasks",
          "List tasks across the vault, soonest due first. Archived notes are left out.",
          {status("Only tasks with this status. Without it, done tasks come last."),
           {"folder", "string", "Only tasks in this folder."},
           {"due_by", "string", "Only tasks due on or before this day, as YYYY-MM-DD."},
           parameters::limit(),
           parameters::offset()},
          Effect::reads,
          &AIAccess::canRead,
          listTasks};
}

Tool addTaskTool() {
  return {"add_task",
          "Add a task to the task list in a folder. It goes to Inbox unless a folder is given.",
          {{"text", "string", "What needs doing. It can hold #tags and [[links]].", true},
           {"due", "string", "The day it's due, as YYYY-MM-DD."},
           {"priority", "string", "", false, {}, {}, {"high", "low"}},
           {"duration_minutes", "integer", "How long it should take. Without it, the planner counts 30 minutes.", false,
            1, 1440},
           parameters::folder(false)},
          Effect::adds,
          &AIAccess::canManageTasks,
          addTaskToList};
}

Tool updateTaskTool() {
  return {"update_task",
          "Change a task's status, date, priority, duration, start time or text. A task with no due date sits in the "
          "planner's backlog; clearing due also clears start. An empty due, priority or start clears it.",
          {parameters::task(),
           status(""),
           {"due", "string", "YYYY-MM-DD, or empty to clear."},
           {"priority", "string", "high, low, or empty to clear.", false, {}, {}, {"high", "low", ""}},
           {"reminder", "string", "HH:MM on the due day, or empty to clear."},
           {"duration_minutes", "integer", "How long it should take.", false, 1, 1440},
           {"start", "string",
            "HH:MM on the due day to set the time aside. Vesk adds it to the calendar as a block. Empty to clear."},
           {"text", "string"}},
          Effect::adds,
          &AIAccess::canManageTasks,
          updateTask};
}

Tool addTaskNoteTool() {
  return {"add_task_note",
          "Give a task a note for its description, and link the task to it. Returns the new note's path.",
          {parameters::task()},
          Effect::adds,
          &AIAccess::canManageTasks,
          addTaskNote};
}

Tool removeTaskTool() {
  return {"remove_task",
          "Delete a task's line from its note. The user can undo this in Vesk.",
          {parameters::task()},
          Effect::destroys,
          &AIAccess::canManageTasks,
          removeTask};
}

}  // namespace vesk
