#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "core/tasks/TaskItem.h"
#include "core/tasks/TaskLine.h"
#include "core/vault/Vault.h"

// Changes to the task lines of a vault. Each is worked out on a note's whole text by a function of its own, so that
// what it would do can be shown before it is done. Of the text nothing changes but the task's line.
namespace vesk {

// The new values of a task. An empty optional takes its tag off the line.
struct TaskEdit {
  explicit TaskEdit(const TaskItem& item);

  TaskStatus status;
  std::optional<std::string> due;
  std::optional<TaskPriority> priority;
  std::optional<std::string> reminder;
  std::optional<int> duration;
  std::optional<std::string> start;
  std::string text;  // may hold control tags, which count unless their own field was changed, too
  std::optional<std::string> block;
};

using TaskChange = std::function<void(TaskEdit& edit)>;

// A note's text with one task changed, or without it. VaultError::conflict when the line is not any more as the item
// has it; Error when a value of the edit can't be written in a task's line.
std::string withTask(std::string_view noteText, const TaskItem& item, const TaskChange& change);
std::string withoutTask(std::string_view noteText, const TaskItem& item);

TextChange update(const Vault& vault, const TaskItem& item, const TaskChange& change);
TextChange remove(const Vault& vault, const TaskItem& item);

// The list that tasks are added to in a folder.
inline constexpr std::string_view taskListName = "Tasks";

// The line of a new task from what was typed, control tags included; a given day replaces a typed one.
TaskLine::Parts newTask(std::string_view typed, std::optional<std::string> due = {});

// A list's text with one more task at its end. Error when a value can't be written in a task's line.
std::string withNewTask(std::string_view noteText, const TaskLine::Parts& task);

struct AddedTask {
  std::string noteID = {};
  std::size_t line = 0;
  bool madeNote = false;   // the list was not there before
  TextChange change = {};  // of the list's text
};

// Adds a task at the end of the folder's list of that name, which is made when it is missing.
AddedTask addTask(const Vault& vault, const TaskLine::Parts& task, std::string_view listName, std::string_view folder);

// The text that a task has once it links to its note: the link reads like the task's title.
std::string textLinkedTo(std::string_view noteID, const TaskItem& item);

// Makes a note of the task's title in its folder and links the task to it; returns the noteID. Error for a task that
// has a note already. When the task's line has changed meanwhile, the note goes to the Trash again.
std::string attachNote(const Vault& vault, const TaskItem& item);

}  // namespace vesk
